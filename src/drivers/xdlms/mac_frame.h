#pragma once

#include <span>

#include "drivers/xdlms/pdu.h"

namespace xdlms {

/// The link frame of the serial lines, all fields big endian:
///   offset  size  field
///     0      6    MAC of the receiver
///     6      6    MAC of the sender
///    12      2    EthType, 0x88E5
///    14      1    AC, 0
///    15      1    length n of the data, low 8 bits; not read in an answer
///    16      4    zero
///    20      n    data
///    20+n    4    CRC-32 of all before it
class mac_frame {
 public:
    static constexpr int head_size = 20;
    static constexpr int crc_size = 4;

    static void wrap(xCommon::ByteList& out, xCommon::ByteList const& src, xCommon::ByteList const& dst,
                     xCommon::ByteList const& data);
    /// True for exactly one frame whose CRC fits and whose data are a wrapper of the length that it tells.
    static bool is_whole(std::span<unsigned char const> frame);
    /// Checks a frame of `len` bytes with its CRC behind them, and leaves `pos` at the data. `crc_ok` without `ok` is a
    /// good frame of or for somebody else.
    static dlms_reply parse(unsigned char const* buf, int& pos, int len, xCommon::ByteList const& dst,
                            xCommon::ByteList const& src);
};

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
