#include "drivers/meter/frame.h"

#include "foundation/crc.h"

namespace meter {

using xCommon::WordOrder;

void push_frame(xCommon::ByteList& out, xCommon::ByteList const& body) {
    out.pop_list(body);
    out.push_16(body.crc_16(), WordOrder::big_endian);
}

bool crc_fits(std::span<unsigned char const> frame) {
    return xCommon::crc16::ends(frame);
}

}  // namespace meter
