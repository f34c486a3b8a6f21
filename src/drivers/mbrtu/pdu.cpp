#include "drivers/mbrtu/pdu.h"

#include "foundation/crc.h"

namespace mbrtu {

using xCommon::ByteList;
using xCommon::WordOrder;

namespace {

void push_with_crc(ByteList& out, ByteList const& frame) {
    out.pop_list(frame);
    out.push_16(frame.crc_16(), WordOrder::big_endian);
}

}  // namespace

void pdu::read(ByteList& out, unsigned char sid, modbus::c_param const* cp) {
    ByteList frame;
    read_request(frame, sid, cp);
    push_with_crc(out, frame);
}

void pdu::write(ByteList& out, unsigned char sid, modbus::c_param const* cp, std::string const& value) {
    ByteList frame;
    write_request(frame, sid, cp, value);
    push_with_crc(out, frame);
}

void pdu::read_span(ByteList& out, unsigned char sid, unsigned char function, unsigned short address,
                    unsigned short count) {
    ByteList frame;
    span_request(frame, sid, function, address, count);
    push_with_crc(out, frame);
}

bool pdu::check_crc(std::span<unsigned char const> frame) {
    return xCommon::crc16::ends(frame);
}

}  // namespace mbrtu
