#pragma once

#include <span>

namespace xCommon {

/// CRC-16 of Modbus (polynomial 0xA001 reflected, initial 0xFFFF, no final exclusive-or; Modbus over Serial Line V1.02,
/// 6.2.2) with the two bytes of the result exchanged: pushed high byte first it stands on the wire low byte first,
/// as the protocol wants, and a received one is compared as two bytes read high byte first.
class crc16 {
 public:
    static unsigned short crc_16(unsigned char const* data, unsigned short length);
    /// True when the last two bytes of the frame are the CRC of those before them, as it stands on the wire.
    static bool ends(std::span<unsigned char const> frame);
};

/// CRC-32 of IEEE 802.3.
class crc32 {
 public:
    /// Over `length` bytes from `data[start]`.
    static unsigned int crc_32(unsigned char const* data, int start, int length);
};

}  // namespace xCommon
