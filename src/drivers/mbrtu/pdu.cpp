#include "drivers/mbrtu/pdu.h"

#include "foundation/crc.h"

namespace mbrtu {

using xCommon::ByteList;
using xCommon::WordOrder;

void pdu::read(ByteList& out, unsigned char sid, modbus::c_param const* cp) {
    ByteList frame;
    read_request(frame, sid, cp);
    frame.push_16(frame.crc_16(), WordOrder::big_endian);
    out.pop_list(frame);
}

void pdu::write(ByteList& out, unsigned char sid, modbus::c_param const* cp, std::string const& value) {
    ByteList frame;
    write_request(frame, sid, cp, value);
    frame.push_16(frame.crc_16(), WordOrder::big_endian);
    out.pop_list(frame);
}

bool pdu::check_crc(std::span<unsigned char const> frame) {
    if (frame.size() < crc_size) {
        return false;
    }
    size_t const length = frame.size() - crc_size;
    int position = static_cast<int>(length);
    return xCommon::crc16::crc_16(frame.data(), static_cast<unsigned short>(length)) ==
           xCommon::net::get_u16(frame.data(), position, WordOrder::big_endian);
}

}  // namespace mbrtu
