#include "drivers/mbtcp/pdu.h"

namespace mbtcp {

using xCommon::ByteList;
using xCommon::WordOrder;

namespace {

constexpr unsigned short transaction = 1;
constexpr unsigned short protocol = 0;

void push_with_mbap(ByteList& out, ByteList const& unit) {
    out.push_16(transaction, WordOrder::big_endian);
    out.push_16(protocol, WordOrder::big_endian);
    out.push_16(static_cast<unsigned short>(unit.size()), WordOrder::big_endian);
    out.pop_list(unit);
}

}  // namespace

void pdu::read(ByteList& out, unsigned char sid, modbus::c_param const* cp) {
    ByteList unit;
    read_request(unit, sid, cp);
    push_with_mbap(out, unit);
}

void pdu::write(ByteList& out, unsigned char sid, modbus::c_param const* cp, std::string const& value) {
    ByteList unit;
    write_request(unit, sid, cp, value);
    push_with_mbap(out, unit);
}

void pdu::read_span(ByteList& out, unsigned char sid, unsigned char function, unsigned short address,
                    unsigned short count) {
    ByteList unit;
    span_request(unit, sid, function, address, count);
    push_with_mbap(out, unit);
}

int pdu::reply_length(unsigned char const* mbap) {
    int position = length_position;
    return xCommon::net::get_u16(mbap, position, WordOrder::big_endian);
}

}  // namespace mbtcp
