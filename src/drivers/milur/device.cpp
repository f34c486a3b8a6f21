#include "drivers/milur/device.h"

#include "config/constants.h"
#include "drivers/meter/data_reply.h"
#include "drivers/meter/frame.h"
#include "drivers/milur/pdu.h"
#include "runtime/exchange.h"

namespace milur {

using xCommon::ByteList;
using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::lmtTrace;

namespace {

IBFac const registrar = IBFac::add<dev>("milur.dev");

constexpr meter::Family family = {
    {"milur::Poll : исключение при опросе параметра : %s.", WalkRules::Blame::nobody, true},
    "milur::poll_param : исключение при опросе : %s",
    "milur::Start : исключение при запуске : %s.",
    "milur::Stop : исключение при остановке : %s."};

constexpr meter::LinkStep start_step = {"milur::Start", "milur::Start", pdu::short_reply, pdu::short_reply};
constexpr meter::LinkStep stop_step = {"milur::Stop", "milur::Stop", pdu::short_reply, pdu::short_reply};

constexpr unsigned char access_level = 0;
constexpr unsigned char password[] = {0x5C, 0xA7, 0x31, 0xE2, 0x0D, 0x9B};

}  // namespace

dev::dev(IBase* port_object, CBase* node) : family_device(port_object, node, family) {}

bool dev::open_session() {
    cfg->Log(lmtTrace, "milur::Start : открытие сессии.");
    ByteList frame;
    pdu::open(frame, slave_address(), access_level, password);
    opened = !link_dialogue(frame, start_step).empty();
    if (opened) {
        cfg->Log(lmtTrace, "milur::Start : сеанс с устройством открыт.");
    }
    return opened;
}

void dev::close_session() {
    cfg->Log(lmtTrace, "milur::Stop :закрытие сессии.");
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

/// A session that can't be opened doesn't keep the driver from asking: there are meters that answer all the same.
bool dev::ready_link(long long /*now*/) {
    if (!opened) {
        cfg->Log(lmtTrace, "milur::Poll : сессию открыть не удалось.");
        Restart();
    }
    return true;
}

BaseResult dev::get_response(c_param* param) {
    BaseResult result;
    if (param == nullptr) {
        return result;
    }
    param->Log(lmtInfo, "milur::get_response : начало опроса.");
    ByteList frame;
    pdu::read(frame, slave_address(), static_cast<unsigned char>(param->object_id));
    send_request(*param, frame, "milur::get_response : запрос");
    int const got = exchange::receive(*port, 0, meter::head_size, "milur::get_response : заголовок ответа");
    int const count = pdu::check_head(param, slave_address(), port->buffer, got);
    param->Logf(lmtTrace, "milur::get_response::check_head (recv_size) = %d", count);
    if (count == pdu::head_closed) {
        opened = false;
    }
    if (count <= 0) {
        return result;
    }
    if (exchange::receive(*port, got, count, "milur::get_response : ответ") != count) {
        param->Log(lmtError, "milur::get_response : ответ НЕ получен : timeout.");
        return result;
    }
    // A count that leaves no room for the CRC can't be met by one.
    if (count < meter::crc_size || !meter::crc_fits({port->buffer, static_cast<size_t>(got + count)})) {
        param->Log(lmtError, "milur::get_response : ответ НЕ получен : не совпали CRC.");
        return result;
    }
    result.is_crc_ok = true;
    result.result = param->getValueFromBuf(port->buffer + meter::head_size, count - meter::crc_size);
    result.is_ok = true;
    return result;
}

}  // namespace milur
