#include "drivers/mbtcp/set_frame.h"

namespace mbtcp {

using xCommon::lmtError;

bool modbus_tcp_frame_t::read(PortBase* port, unsigned char sid, std::string const& type) {
    if (port->tran->read_count(mbap.data(), pdu::mbap_size) < pdu::mbap_size) {
        port->cport->Log(lmtError, "TCP запрос : операция НЕ выполнена : timeout");
        return false;
    }
    if (!read_head(port, sid) || !read_data(port) || (type == "mb-rtu" && !read_crc(port))) {
        return false;
    }
    if (pdu::reply_length(mbap.data()) != header.count + pdu::head_size) {
        port->cport->Log(lmtError, "TCP : ответ НЕ получен : timeout");
        return false;
    }
    return true;
}

}  // namespace mbtcp
