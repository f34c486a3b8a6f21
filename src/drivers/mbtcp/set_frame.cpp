#include "drivers/mbtcp/set_frame.h"

#include "config/process.h"

namespace mbtcp {

using xCommon::lmtError;

bool modbus_tcp_frame_t::read(PortBase* port, unsigned char sid, std::string const& type) {
    if (port->tran->read_count(mbap.data(), pdu::mbap_size) < pdu::mbap_size) {
        port->cport->Log(lmtError, "TCP запрос : операция НЕ выполнена : timeout");
        return false;
    }
    if (!modbus_rtu_frame_t::read(port, sid, type)) {
        return false;
    }
    if (pdu::reply_length(mbap.data()) != header.count + pdu::head_size) {
        port->cport->Log(lmtError, "TCP : ответ НЕ получен : timeout");
        return false;
    }
    return true;
}

void modbus_tcp_frame_t::trace(PortBase const& port) const {
    trace_hex(*port.cport, mbap.data(), pdu::mbap_size, "ОТВЕТ : заголовок TCP");
    modbus_rtu_frame_t::trace(port);
}

}  // namespace mbtcp
