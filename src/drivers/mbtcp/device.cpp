#include "drivers/mbtcp/device.h"

#include "config/constants.h"
#include "drivers/mbtcp/set_frame.h"

namespace mbtcp {

using modbus::c_param;

namespace {

IBFac const registrar = IBFac::add<dev>("mb-tcp.dev");

constexpr modbus::Framing framing = {
    .begin = "dev_mb_tcp::начало опроса.",
    .read = {.request = "dev_mb_tcp::get_response : запрос",
             .head = "dev_mb_tcp::get_response : заголовок TCP",
             .rest = "dev_mb_tcp::get_response : ответ",
             .head_faults = modbus::head_texts},
    .write = {.request = "dev_mb_tcp::write : запрос",
              .head = "dev_mb_tcp::write : заголовок ответа",
              .rest = "dev_mb_tcp::write : ответ",
              .head_faults = modbus::head_texts,
              .traced = Exchange::Traced::part},
    .is_stream = true,
    .first = pdu::mbap_size,
    .ahead = pdu::mbap_size + pdu::head_size,
    .tail = 0,
    .read_frame = pdu::read,
    .write_frame = pdu::write,
    .span_frame = pdu::read_span,
};

}  // namespace

dev::dev(IBase* port_object, CBase* node) : device(port_object, node, framing) {}

/// As many bytes as the header announces; false behind the line when they don't all come, or are more than a unit can
/// have. The connection is closed then, and when they are too few.
bool dev::take_body(Exchange& exchange, c_param const& param, char const* no_body) {
    auto const header = exchange.answer();
    int const length = header.size() < pdu::mbap_size ? pdu::most + 1 : pdu::reply_length(header.data());
    bool const came = length <= pdu::most && exchange.rest(length);
    if (!came || length < pdu::head_size) {
        Exchange::abandon(*port, param);
    }
    if (!came) {
        param.Log(xCommon::lmtError, no_body);
    }
    return came;
}

bool dev::take_answer(Exchange& exchange, c_param const& param) {
    if (!take_body(exchange, param, "ответ НЕ получен : timeout.")) {
        return false;
    }
    auto const unit = exchange.answer().subspan(pdu::mbap_size);
    return exchange.is_good(pdu::check_head(slave_address(), unit), pdu::refusal(unit));
}

bool dev::take_echo(Exchange& exchange, c_param const& param) {
    int const header = static_cast<int>(exchange.head(pdu::mbap_size).size());
    // What is checked behind the header is the tail of the request, as the reply's own hasn't been read yet. So only a
    // missing header fails here, and a slave's refusal counts as success: the value read back shows the truth.
    if (!exchange.is_good(
            pdu::check_head(slave_address(), exchange.held(pdu::mbap_size + header).subspan(pdu::mbap_size)))) {
        Exchange::abandon(*port, param);
        return false;
    }
    return take_body(exchange, param, "операция НЕ выполнена : timeout.");
}

std::unique_ptr<modbus::modbus_rtu_frame_t> dev::set_reply() const {
    return std::make_unique<modbus_tcp_frame_t>();
}

}  // namespace mbtcp
