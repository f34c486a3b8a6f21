#pragma once

#include "drivers/xdlms/reply.h"
#include "foundation/byte_list.h"

namespace xdlms {

/// The select and status frame of the old exchange, all fields big endian:
///   offset  size  field
///     0      6    MAC
///     6      2    control word: flags in the low byte, packet number in bits 8 to 11
///     8      4    size
///    12      4    CRC-32 of the 12 bytes before it
class mac_sel {
 public:
    static constexpr int frame_size = 16;

    static void wrap(xCommon::ByteList& out, xCommon::ByteList const& mac, int size, uint16_t control);
    /// Reads a status of `len` bytes at `pos`, which doesn't move. `ok` if it announces an answer: no flag is set and
    /// the size is above 0.
    static dlms_reply parse(unsigned char const* buf, int pos, int len);
};

}  // namespace xdlms
