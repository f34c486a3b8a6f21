#pragma once

#include <span>
#include <string>

#include "foundation/byte_list.h"

namespace emera {

/// Frames of the text protocol. Stateless: bytes in, bytes out.
///
/// Request                                       Answer
///   offset  size  field                           offset  size  field
///     0      2    "/?" (2F 3F)                       0      1    STX (02); some meters leave it out
///     2      a    address of the meter, text        0, 1    t    text, each value in round brackets
///   2+a      1    "!" (21)                           ..     1    ETX (03)
///   3+a      1    SOH (01)                           ..     1    BCC
///   4+a      2    command, "R1" (52 31)           or, for a request that the meter refuses:
///   6+a      1    STX (02)                           0      1    NAK (15)
///   7+a      c    register, text
///   7+a+c    1    ETX (03)
///   8+a+c    1    BCC
///
/// BCC of a request: the low 7 bits of the sum of all bytes from the command up to and including ETX. Of an answer: the
/// same, from behind its STX (or SOH) on, which itself isn't counted.
///
/// Register ET0PE() of meter 12, and its answer, which has "1.5" in the brackets:
///   2F 3F 31 32 21 01 52 31 02 45 54 30 50 45 28 29 03 37
///   02 45 54 30 50 45 28 31 2E 35 29 03 46
class epdu {
 public:
    static constexpr unsigned char soh = 0x01;
    static constexpr unsigned char stx = 0x02;
    static constexpr unsigned char etx = 0x03;
    static constexpr unsigned char nak = 0x15;

    /// Puts a whole request into `out` in place of what it holds; does nothing for an empty `sid` or `cmd`.
    static void wrap(xCommon::ByteList& out, std::string const& sid, std::string const& cmd);
    /// True for exactly one answer: a NAK alone, or a text with ETX and BCC.
    static bool is_whole(std::span<unsigned char const> frame);
    /// What stands behind the first ETX, where the BCC has to be.
    struct Bcc {
        size_t at;
        unsigned int expected;
        unsigned int received;  ///< 0 where there is no byte
        bool fits;
    };
    static Bcc crc_check(std::span<unsigned char const> frame);
};

}  // namespace emera
