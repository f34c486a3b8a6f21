#pragma once

#include <string>

#include "foundation/byte_list.h"

namespace mediactrl {

/// The command frame. It has no address, no length, no checksum, and no reply.
///
/// offset  size  field
///   0      1    '[' (5B)
///   1      n    one byte for each dot-separated part of the value, its low 8 bits
///   1+n    1    ']' (5D)
///
/// The value 1.2.255 goes out as 5B 01 02 FF 5D.
class pdu {
 public:
    /// Appends the frame. Raises std::invalid_argument or std::out_of_range for a part that is no number.
    static void command(xCommon::ByteList& out, std::string const& value);
};

}  // namespace mediactrl
