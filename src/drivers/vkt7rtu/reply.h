#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>

#include "config/cparam.h"
#include "drivers/vkt7rtu/registers.h"

namespace vkt7rtu {

/// Decoders of the three answers that carry something. Each takes a whole frame with its CRC, whose byte count may lie:
/// nothing behind what arrived is read. They trace what they find under the parameter's name.
///
/// Properties                           Active registers, 6 bytes each
///   8 texts, each:                       0  1  number        4  2  size
///     0    2  length L                   1  3  upper bytes of the identifier
///     2    L  text                     Value
///     2+L  1  quality                    0    n  value, low byte first
///     3+L  1  alarm                      n    1  quality
///   8 precisions, each:                  n+1  1  byte of abnormal situations
///     0    1  digits behind the point
///     1    1  quality
///     2    1  alarm
class Reply {
 public:
    using Frame = std::span<unsigned char const>;
    using Precisions = std::array<unsigned char, precision_count>;

    /// Byte of the version of the calculator's server, unless the answer is too short for one.
    static std::optional<unsigned char> server_version(Frame frame);
    /// Precisions that the answer lacks are 0.
    static Precisions precisions(CParam const& param, Frame frame);
    /// True when the register is on the list.
    static bool has_register(CParam const& param, Frame frame, unsigned short reg_addr);
    /// Text of the value with its point set for `digits`: zeros for a size that no number has, where there are digits.
    /// Empty without them, and when not all bytes of a number lie ahead of the CRC; the flags behind it need not.
    static std::string value(CParam const& param, Frame frame, RegisterRow const& row, int digits);

 private:
    static std::string number(Frame frame, size_t size);
};

}  // namespace vkt7rtu
