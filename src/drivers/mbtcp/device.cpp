#include "drivers/mbtcp/device.h"

#include "config/process.h"
#include "drivers/mbtcp/config.h"

namespace mbtcp {

namespace {

CBFac const registrars[] = {CBFac::add<c_dev>("mb-tcp.cdev"), CBFac::add<c_param>("mb-tcp.cparam")};
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

bool modbus_tcp_frame_t::read(PortBase* port, unsigned char sid, std::string const& type) {
    if (port->tran->read_count(mbap.data(), pdu::mbap_size) < pdu::mbap_size) {
        port->cport->Log(xCommon::lmtError, "TCP запрос : операция НЕ выполнена : timeout");
        return false;
    }
    if (!modbus_rtu_frame_t::read(port, sid, type)) {
        return false;
    }
    if (pdu::reply_length(mbap.data()) != header.count + pdu::head_size) {
        port->cport->Log(xCommon::lmtError, "TCP : ответ НЕ получен : timeout");
        return false;
    }
    return true;
}

void modbus_tcp_frame_t::trace(PortBase const& port) const {
    trace_hex(*port.cport, mbap.data(), pdu::mbap_size, "ОТВЕТ : заголовок TCP");
    modbus_rtu_frame_t::trace(port);
}

dev::dev(IBase* port_object, CBase* node) : device(port_object, node, framing) {}

/// As many bytes as the header announces; false behind the line when they don't all come, or are more than a unit can
/// have. The connection is closed then, and when they are too few.
bool dev::take_body(Exchange& exchange, modbus::c_param const& param, char const* no_body) {
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

bool dev::take_answer(Exchange& exchange, modbus::c_param const& param) {
    if (!take_body(exchange, param, "ответ НЕ получен : timeout.")) {
        return false;
    }
    auto const unit = exchange.answer().subspan(pdu::mbap_size);
    return exchange.is_good(pdu::check_head(slave_address(), unit), pdu::refusal(unit));
}

bool dev::take_echo(Exchange& exchange, modbus::c_param const& param) {
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
