#include "drivers/xdlms/dport_rs.h"

#include <algorithm>
#include <utility>

#include "config/constants.h"
#include "config/process.h"
#include "drivers/xdlms/mac_frame.h"
#include "foundation/deadline.h"
#include "foundation/xexception.h"
#include "foundation/xmisc.h"
#include "runtime/exchange.h"

namespace xdlms {

using xCommon::ByteList;
using xCommon::lmtError;
using xCommon::lmtTrace;
using xCommon::xException;
using xCommon::xMisc;

namespace {

IBFac const registrars[] = {IBFac::add<dport_rs>("dlms.rs.port"), IBFac::add<dport_rs>("dlms.rs.old.port")};

constexpr int pause_ms = 100;
/// An answer is over when nothing has come for so long.
constexpr int silence_ms = 100;
constexpr int most_retries = 10;
/// Heads of the link frame and of the wrapper in it.
constexpr int heads_size = mac_frame::head_size + wpdu::head_size;
/// With them, the CRC, and the shortest response.
constexpr int minimum_answer = heads_size + mac_frame::crc_size + 5;
/// Divided by the rate: the time of 500 bits in ms, a select frame of 16 bytes and what the meter needs behind it.
constexpr unsigned int frame_bits = 500000;
/// The first device gets the address behind it.
constexpr uint16_t address_base = 21;
/// A packet number that is lower by this much or more has begun anew at 0.
constexpr int wrap_difference = 10;

// Control words to the meter.
constexpr uint16_t control_ok = 0;
constexpr uint16_t control_bad_crc = 16;
constexpr uint16_t control_no_answer = 32;
constexpr uint16_t control_bad_ats_crc = 64;
constexpr uint16_t control_no_ats = 128;
// Flags of a status.
constexpr unsigned int flag_too_large = 0x02;
constexpr unsigned int flags_repeat = 0x0C;

}  // namespace

dport_rs::dport_rs(IBase* parent_object, CPort* node)
    : dport(parent_object, node), frame_delay_(static_cast<int>(frame_bits / std::max(node->rs.baudrate, 1U)) + 1) {}

bool dport_rs::poll_devices() {
    uint16_t address = address_base;
    for (auto const& meter : meters_) {
        cddev* const dev = meter->node;
        ++address;
        if (mac_from_sn(dev->sn, dev->mac)) {
            dev->dlms_addr = address;
        } else {
            dev->Log(lmtError, "для устройства не указан серийный номер. Устройство будет заблокировано.");
            dev->enabled = false;
        }
    }
    return true;
}

bool dport_rs::mac_from_sn(std::string const& sn, ByteList& mac) {
    constexpr size_t model_letters = 2;
    constexpr unsigned char locally_administered = 0x02;
    if (sn.empty()) {
        return false;
    }
    auto const number = static_cast<unsigned long long>(std::stoll(sn.substr(model_letters)));
    mac.push_8(locally_administered);
    mac.push_8(static_cast<unsigned char>(number >> 32U));
    mac.push_32(static_cast<unsigned int>(number), xCommon::WordOrder::big_endian);
    return true;
}

int dport_rs::read(char const* word, CBase& log, std::function<int()> const& from_line) {
    try {
        int const got = from_line();
        if (got > 0) {
            trace_hex(*cport, buffer, got, word);
        }
        return got;
    } catch (std::exception const& e) {
        tran->flush_in();
        log.Logf(lmtError, "dport_rs.%s : ошибка чтения : %s.", word, e.what());
        return 0;
    }
}

bool dport_rs::read_all(int count, CBase& log) {
    return read("read_all", log, [this, count] { return tran->read_all(buffer, count) ? count : 0; }) > 0;
}

void dport_rs::drop_input() {
    xCommon::Deadline const deadline(cport->rto);
    std::vector<unsigned char> dropped;
    // Byte by byte: a read of more would wait for all of them.
    for (unsigned char byte = 0; !deadline.passed(); dropped.push_back(byte)) {
        tran->set_timeout(std::min(silence_ms, deadline.left_ms()), cport->sto);
        if (tran->read(&byte, 1) < 1) {
            break;
        }
    }
    // Those that the old exchange works with.
    tran->set_timeout(cport->rto, cport->sto);
    trace_hex(*cport, dropped.data(), static_cast<int>(dropped.size()), "read");
}

bool dport_rs::send_all(ByteList& frame) {
    try {
        trace_hex(*cport, frame.data(), static_cast<int>(frame.size()), "send_all");
        return tran->write_all(frame);
    } catch (std::exception const& e) {
        tran->flush_out();
        node_->Logf(lmtError, "dport_rs.send_all  : ошибка записи : %s.", e.what());
        return false;
    }
}

bool dport_rs::send_sel(ByteList const& mac, int size, uint16_t control) {
    ByteList frame;
    mac_sel::wrap(frame, mac, size, control);
    return send_all(frame);
}

bool dport_rs::send_frame(cddev const* dev, ByteList const& data) {
    if (dev == nullptr || data.empty()) {
        return false;
    }
    ByteList frame;
    mac_frame::wrap(frame, node_->mac, dev->mac, data);
    return send_all(frame);
}

void dport_rs::send_request(cddev const& dev, ByteList const& request) {
    send_sel(dev.mac, static_cast<int>(request.size()) + mac_frame::head_size, control_ok);
    xMisc::delay(frame_delay_);
    send_frame(&dev, request);
}

dlms_reply dport_rs::get_response(ByteList& request, cddev* dev, dparam* param) {
    tran->flush_in();
    tran->flush_out();
    if (dev == nullptr) {
        return {};
    }
    CBase& log = param != nullptr ? static_cast<CBase&>(*param) : *dev;
    if (request.empty()) {
        log.Log(lmtError, "get_response : запрос пуст.");
        return {};
    }
    try {
        return cport->type_has("old") ? get_response_old(request, *dev, log) : get_response_alt(request, *dev, log);
    } catch (std::exception const& e) {
        log.Logf(lmtError, "ошибка опроса : %s", e.what());
        return {};
    }
}

dlms_reply dport_rs::get_response_alt(ByteList& request, cddev& dev, CBase& log) {
    log.Log(lmtTrace, "начало опроса (new).");
    tran->set_timeout(log.rto, log.sto);
    xMisc::delay(pause_ms);
    send_frame(&dev, request);
    int const got = read("read", log, [this] { return tran->read_frame(buffer, buffer_size, mac_frame::is_whole); });
    if (got < 1) {
        log.Log(lmtError, "get_response : ответ не получен (read).");
        return {};
    }
    if (got < minimum_answer) {
        log.Log(lmtError, "get_response : ответ меньше минимального размера.");
        return {};
    }
    int pos = 0;
    dlms_reply reply = told(mac_frame::parse(buffer, pos, got - mac_frame::crc_size, node_->mac, dev.mac));
    if (!reply.ok) {
        log.Log(lmtError, reply.crc_ok ? "get_response : ответ не принят (mac_frame.parse)."
                                       : "get_response : невалидная CRC ответа (mac_frame.parse).");
        return reply;
    }
    reply = told(wpdu::parse(buffer, pos, node_->dlms_addr, dev.dlms_addr));
    if (!reply.ok) {
        log.Log(lmtError, "get_response : ответ не принят (wpdu.parse).");
        return reply;
    }
    if (reply.size > got - heads_size - mac_frame::crc_size) {
        log.Log(lmtError, "get_response : ответ не получен (len < data_size).");
        reply.ok = false;
        reply.crc_ok = true;
        return reply;
    }
    return told(pdu::parse(buffer + pos, reply.size));
}

dlms_reply dport_rs::get_response_old(ByteList& request, cddev& dev, CBase& log) {
    log.Log(lmtTrace, "начало опроса (old).");
    xMisc::delay(pause_ms);
    send_request(dev, request);
    return get_fout(request, &dev, &log);
}

dlms_reply dport_rs::get_ats(ByteList& request, cddev* dev, CBase* log) {
    dlms_reply status;
    for (retries_ = 0; retries_ <= most_retries;) {
        xMisc::delay(pause_ms);
        ++retries_;
        if (!read_all(mac_sel::frame_size, *log)) {
            log->Log(lmtError, "get_ats : ATS не получен.");
            send_sel(dev->mac, 0, control_no_ats);
            continue;
        }
        status = told(mac_sel::parse(buffer, 0, mac_sel::frame_size));
        if (!status.crc_ok) {
            log->Log(lmtError, "get_ats : невалидная ATS CRC.");
            send_sel(dev->mac, 0, control_bad_ats_crc);
            continue;
        }
        log->Logf(lmtTrace, "get_ats : номер пакета = %d.", status.seq);
        if ((status.flags & flag_too_large) != 0) {
            throw xException("get_ats : запрос слишком велик для устройства и отправлен не будет.");
        }
        if ((status.flags & flags_repeat) != 0) {
            log->Log(lmtTrace, "get_ats : запрос не принят устройством - повторим.");
            send_request(*dev, request);
            continue;
        }
        send_sel(dev->mac, 0, control_ok);
        if (status.size != 0) {
            check_seq(status.seq, *log);
            return status;
        }
    }
    throw xException("get_ats : ответ не получен.");
}

void dport_rs::check_seq(uint8_t seq, CBase& log) {
    int const last = std::exchange(last_ats_, seq);
    if (seq <= last && last - seq < wrap_difference) {
        log.Logf(lmtTrace, "get_ats : получено предыдущее значение last = %d : cur = %d.", last, seq);
        throw xException("get_ats : получено предыдущее значение.");
    }
    log.Logf(lmtTrace, "get_ats : last_ats = %d.", last_ats_);
}

dlms_reply dport_rs::get_fout(ByteList& request, cddev* dev, CBase* log) {
    // Each status starts the count anew, so the limit is met only by one that took all its passes.
    for (dlms_reply status = get_ats(request, dev, log); retries_ <= most_retries;
         status = get_ats(request, dev, log)) {
        xMisc::delay(pause_ms);
        int pos = 0;
        uint16_t const control = read_answer(*dev, status.size, pos, *log);
        send_sel(dev->mac, 0, control);
        if (control == control_ok) {
            return told(pdu::parse(buffer + pos, status.size - heads_size));
        }
    }
    throw xException("get_fout : ответ не получен.");
}

uint16_t dport_rs::read_answer(cddev const& dev, int size, int& pos, CBase& log) {
    // A size that can't be is a missing answer. One may follow all the same, and left on the line it would be read as
    // one status after the other, with none of the true ones at its place any more.
    bool const is_possible = size >= 0 && size <= buffer_size - mac_frame::crc_size;
    if (!is_possible) {
        drop_input();
    }
    if (!is_possible || !read_all(size + mac_frame::crc_size, log)) {
        log.Log(lmtTrace, "get_fout : ответ не получен.");
        return control_no_answer;
    }
    dlms_reply const frame = told(mac_frame::parse(buffer, pos, size, node_->mac, dev.mac));
    if (!frame.crc_ok) {
        log.Log(lmtTrace, "get_fout : невалидная CRC ответа.");
        return control_bad_crc;
    }
    dlms_reply const wrapper =
        frame.ok && size >= heads_size ? told(wpdu::parse(buffer, pos, node_->dlms_addr, dev.dlms_addr)) : dlms_reply{};
    if (!wrapper.ok) {
        log.Log(lmtTrace, "get_fout : ответ не принят.");
        return control_no_answer;
    }
    if (wrapper.size > buffer_size - heads_size - mac_frame::crc_size) {
        log.Log(lmtTrace, "get_fout : ответ не получен.");
        return control_no_answer;
    }
    return control_ok;
}

}  // namespace xdlms
