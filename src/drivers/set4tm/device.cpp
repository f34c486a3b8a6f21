#include "drivers/set4tm/device.h"

#include <algorithm>

#include "config/constants.h"
#include "config/process.h"
#include "drivers/meter/data_reply.h"
#include "drivers/meter/frame.h"
#include "drivers/set4tm/pdu.h"

namespace set4tm {

using xCommon::ByteList;
using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::lmtTrace;

namespace {

IBFac const registrar = IBFac::add<dev>("set-4tm.dev");

/// The device's own counters stand still, so it is never reported as failed.
constexpr meter::Family family = {{"Poll : исключение при опросе параметра : %s.", WalkRules::Blame::port, false},
                                  "исключение при опросе : %s",
                                  "исключение при запуске : %s.",
                                  "исключение при остановке : %s."};

constexpr meter::LinkStep start_step = {"Start", "Start", pdu::short_reply, pdu::short_reply};
constexpr meter::LinkStep stop_step = {"dev::Stop", "Stop", pdu::short_reply, pdu::short_reply};

}  // namespace

dev::dev(IBase* port_object, CBase* node) : family_device(port_object, node, family) {}

bool dev::open_session() {
    line().flush();
    // pdu::open with the device's password belongs into this frame. Until then nothing goes out, and the link counts as
    // open only if a reply comes all the same.
    ByteList const frame;
    opened = !link_dialogue(frame, start_step).empty();
    if (opened) {
        cfg->Log(lmtTrace, "сеанс с устройством открыт.");
    }
    return opened;
}

void dev::close_session() {
    line().flush();
    ByteList frame;
    pdu::close(frame, slave_address());
    link_dialogue(frame, stop_step);
}

bool dev::is_refused(std::span<unsigned char const> reply) {
    if ((reply[1] & meter::error_bit) == 0) {
        return false;
    }
    pdu::parse_error(reply.data(), static_cast<int>(reply.size()), slave_address(), cfg);
    return true;
}

bool dev::ready_link(long long /*now*/) {
    if (!opened) {
        Restart();
    }
    return opened;
}

BaseResult dev::get_response(c_param* param) {
    BaseResult result;
    if (param == nullptr) {
        return result;
    }
    param->Log(lmtInfo, "начало опроса.");
    ByteList frame;
    pdu::read(frame, slave_address());  // the parameter's number belongs into this frame
    send_request(*param, frame, ":get_response : запрос");

    unsigned char* const reply = port->buffer;
    int const head = std::max(line().read_count(reply, meter::head_size), 0);
    trace_hex(*port->cport, reply, head, "get_response : заголовок ответа");
    // Behind a head that can't be used two bytes are read all the same, and fail as the CRC that they are taken for.
    int const rest = pdu::check_head(param, slave_address(), reply, head) + meter::crc_size;
    int const got = std::max(line().read_count(reply + head, rest), 0);
    trace_hex(*port->cport, reply, head + got, "get_response : ответ");
    if (got != rest) {
        param->Log(lmtError, "ответ НЕ получен : timeout.");
        return result;
    }
    if (!meter::crc_fits({reply, static_cast<size_t>(head + rest)})) {
        param->Log(lmtError, "ответ НЕ получен : не совпали CRC.");
        return result;
    }
    result.is_crc_ok = true;
    // The value belongs into `result.result`. Empty it stands for no answer, while the poll counts as good.
    result.is_ok = true;
    return result;
}

}  // namespace set4tm
