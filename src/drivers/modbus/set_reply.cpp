#include "drivers/modbus/set_reply.h"

#include "drivers/modbus/pdu.h"
#include "foundation/byte_list.h"

namespace modbus {

using xCommon::ByteList;
using xCommon::lmtError;

namespace {

constexpr char crc_prefix[] = "RTU CRC : ответ НЕ получен :";

}  // namespace

bool SetReply::read_head(PortBase* port, unsigned char sid) {
    unsigned char head[pdu::head_size] = {};
    if (port->tran->read_count(head, pdu::head_size) < pdu::head_size) {
        port->cport->Logf(lmtError, "%s timeout", request_prefix);
        return false;
    }
    header = {head[0], head[1], head[2]};
    if (header.address != sid) {
        port->cport->Logf(lmtError, "%s не совпали SID", request_prefix);
        return false;
    }
    if ((header.function & pdu::refused_bit) != 0) {
        port->cport->Logf(lmtError, "%s %s", request_prefix, pdu::exception_text(header.count));
        is_whole = true;
        return false;
    }
    return true;
}

bool SetReply::read_data(PortBase* port) {
    data.assign(header.count, 0);
    if (port->tran->read_count(data.data(), header.count) < header.count) {
        port->cport->Log(lmtError, "RTU : ответ НЕ получен : timeout");
        return false;
    }
    return true;
}

bool SetReply::read_crc(PortBase* port) {
    constexpr int crc_size = 2;
    unsigned char received[crc_size] = {};
    if (port->tran->read_count(received, crc_size) < crc_size) {
        port->cport->Logf(lmtError, "%s timeout", crc_prefix);
        return false;
    }
    ByteList joined;
    joined.push_8(header.address);
    joined.push_8(header.function);
    joined.push_8(header.count);
    joined.push_buf(data.data(), static_cast<int>(data.size()));
    int position = 0;
    if (joined.crc_16() != xCommon::net::get_u16(received, position, xCommon::WordOrder::big_endian)) {
        port->cport->Logf(lmtError, "%s не совпали CRC", crc_prefix);
        is_whole = true;
        return false;
    }
    return true;
}

}  // namespace modbus
