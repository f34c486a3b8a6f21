#pragma once

#include <span>

#include "foundation/byte_list.h"

namespace skeleton {

/// Frames: bytes in, bytes out. The map as the device's manual has it, and one exchange:
///
/// Request to read                       Answer, and both frames of a write
///   0  1  address                         0  1  address
///   1  1  'R' (52), 'W' (57)              1  1  as of the request; with bit 7 set the code of a refusal follows
///   2  1  number of the value             2  1  number of the value
///   3  2  CRC as of Modbus, its low       3  2  value, high byte first
///         byte first                      5  2  CRC
///
/// Value 4 of device 5, and 1234 for it:   05 52 04 5D 62    05 52 04 04 D2 3B E4
struct pdu {
    static constexpr int head_size = 3;  ///< up to the code of a refusal
    static constexpr int tail_size = 4;
    static constexpr int echoed_by_read = 3;
    static constexpr int echoed_by_write = 7;
    static constexpr unsigned short most = 0xFFFF;

    static xCommon::ByteList read(unsigned char sid, unsigned char number) {
        return xCommon::ByteList{sid, 0x52, number}.with_crc();
    }
    static xCommon::ByteList write(unsigned char sid, unsigned char number, unsigned short value) {
        xCommon::ByteList body = {sid, 0x57, number};
        body.push_16(value, xCommon::WordOrder::big_endian);
        return body.with_crc();
    }
    static int value(std::span<unsigned char const> answer) { return answer[3] << 8 | answer[4]; }
};

}  // namespace skeleton
