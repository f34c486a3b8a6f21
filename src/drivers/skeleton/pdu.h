#pragma once

#include <initializer_list>
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
    static constexpr int head_size = 3;  ///< repeated in the answer
    static constexpr int tail_size = 4;  ///< value and CRC
    static constexpr unsigned long most = 0xFFFF;

    static xCommon::ByteList read(unsigned char sid, unsigned char number) { return frame({sid, 0x52, number}); }
    static xCommon::ByteList write(unsigned char sid, unsigned char number, unsigned short value) {
        return frame({sid, 0x57, number, static_cast<unsigned char>(value >> 8U), static_cast<unsigned char>(value)});
    }
    static int value(std::span<unsigned char const> answer) { return answer[3] << 8 | answer[4]; }

 private:
    static xCommon::ByteList frame(std::initializer_list<unsigned char> bytes) {
        xCommon::ByteList body;
        body.push_buf(bytes.begin(), static_cast<int>(bytes.size()));
        xCommon::ByteList whole;
        whole.push_with_crc(body);
        return whole;
    }
};

}  // namespace skeleton
