#pragma once

#include "drivers/xdlms/reply.h"
#include "foundation/byte_list.h"

namespace xdlms {

/// The wrapper of the transport layer (IEC 62056-47), all fields big endian:
///   offset  size  field
///     0      2    version, 0x0001
///     2      2    address of the sender
///     4      2    address of the receiver
///     6      2    length n of the data
///     8      n    data
class wpdu {
 public:
    static constexpr int head_size = 8;
    static constexpr int length_position = 6;

    static void wrap(xCommon::ByteList& out, uint16_t src, uint16_t dst, xCommon::ByteList const& data);
    /// Reads the head of an answer at `pos`, of which all 8 bytes are there, and leaves `pos` behind it. `ok` if it
    /// comes from `dst`; its receiver isn't compared with `src`. `size` counts in any case, so that the data of an
    /// answer that is refused can be read off the line.
    static dlms_reply parse(unsigned char const* buf, int& pos, uint16_t src, uint16_t dst);
};

}  // namespace xdlms
