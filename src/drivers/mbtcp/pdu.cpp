#include "drivers/mbtcp/pdu.h"

namespace mbtcp {

using xCommon::ByteList;
using xCommon::WordOrder;

namespace {

constexpr unsigned short transaction = 1;
constexpr unsigned short protocol = 0;

}  // namespace

void pdu::wrap(ByteList& out, ByteList const& unit) {
    out.push_16(transaction, WordOrder::big_endian);
    out.push_16(protocol, WordOrder::big_endian);
    out.push_16(static_cast<unsigned short>(unit.size()), WordOrder::big_endian);
    out.pop_list(unit);
}

int pdu::reply_length(unsigned char const* mbap) {
    int position = length_position;
    return xCommon::net::get_u16(mbap, position, WordOrder::big_endian);
}

}  // namespace mbtcp
