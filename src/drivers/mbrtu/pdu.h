#pragma once

#include <span>

#include "drivers/modbus/pdu.h"

namespace mbrtu {

/// RTU frames (Modbus over Serial Line V1.02): the unit of modbus::pdu with a CRC behind it.
///
/// Request to read 1 register at 16 of slave 5, and the answer 1234:
///   05 03 00 10 00 01 84 4B
///   05 03 02 04 D2 CB 19
/// Request to write 7 to the registers 1 and 2:
///   05 10 00 01 00 02 04 00 00 00 07 66 91
/// offset  size  field
///   0      1    slave address
///   1      1    function
///   2      n    data
///   2+n    2    CRC of all before it, low byte of the Modbus CRC first
class pdu : public modbus::framed_pdu<pdu> {
 public:
    static constexpr int crc_size = 2;

    static void wrap(xCommon::ByteList& out, xCommon::ByteList const& unit);
    /// True when the last two bytes are the CRC of those before them.
    static bool check_crc(std::span<unsigned char const> frame);
};

}  // namespace mbrtu
