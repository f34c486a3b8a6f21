#include "drivers/meter/frame.h"

#include "foundation/crc.h"

namespace meter {

using xCommon::WordOrder;

void push_frame(xCommon::ByteList& out, xCommon::ByteList const& body) {
    out.pop_list(body);
    out.push_16(body.crc_16(), WordOrder::big_endian);
}

bool is_short_reply(std::span<unsigned char const> frame) {
    constexpr size_t size = 4;
    return frame.size() == size && crc_fits(frame);
}

bool crc_fits(std::span<unsigned char const> frame) {
    return xCommon::crc16::ends(frame);
}

}  // namespace meter
