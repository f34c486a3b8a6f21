#pragma once

#include "drivers/modbus/pdu.h"

namespace mbtcp {

/// TCP frames (Modbus Messaging on TCP/IP V1.0b): the MBAP header in front of the unit of modbus::pdu, without a CRC.
///
/// Request to read 1 register at 16 of unit 5, and the answer 1234:
///   00 01 00 00 00 06 05 03 00 10 00 01
///   00 01 00 00 00 05 05 03 02 04 D2
/// offset  size  field, high byte first
///   0      2    transaction identifier: always 1, and never compared in a reply
///   2      2    protocol identifier: 0
///   4      2    count of the bytes behind this field
///   6      1    unit identifier: the slave address
///   7      n    function and data
class pdu : public modbus::framed_pdu<pdu> {
 public:
    /// Bytes ahead of the unit identifier.
    static constexpr int mbap_size = 6;
    static constexpr int length_position = 4;

    static void wrap(xCommon::ByteList& out, xCommon::ByteList const& unit);
    /// The length field of a header.
    static int reply_length(unsigned char const* mbap);
    /// A Modbus unit has 253 bytes at most behind its identifier.
    static constexpr int most = 254;
};

}  // namespace mbtcp
