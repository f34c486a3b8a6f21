#pragma once

#include <span>

#include "config/cparam.h"
#include "foundation/byte_list.h"
#include "foundation/frame_head.h"

namespace vkt7rtu {

/// Frames of the dialogue: Modbus RTU in shape, but the register address selects a command of the calculator, and the
/// count of registers is always 0. What lies behind it has its low bytes first.
///
/// Request                                                Answer to function 03
///   offset  size  field                                    offset  size  field
///     0      1    slave address                              0      1    slave address
///     1      1    function                                   1      1    function
///     2      2    command, high byte first                   2      1    byte count c
///     4      2    zero                                       3      c    data
///     6      n    data                                       3+c    2    CRC
///   6+n      2    CRC as of Modbus, its low byte first
///                                                        Answer to 10: slave address, function, command, zero, CRC
///                                                        Refusal: slave address, function with bit 7 set, code, CRC
///
/// Command  function  data                                                     meaning
///   3FFF      10     CC 80 00 00 00                                           open a session
///   3FFE      03     -                                                        read what was selected
///   3FFD      10     02 kind 00                                               select the kind of values
///   3FFF      10     60 and 16 elements                                       select the properties
///   3FFC      03     -                                                        list the active registers
///   3FFF      10     06 and 1 element                                         select one register
///
/// An element: 4 bytes identifier, 0x40000000 and the number; 2 bytes size.
///
/// Register 3 of slave 1:
///   01 10 3F FF 00 00 06 03 00 00 40 04 00 5F 55
///   01 03 3F FE 00 00 28 2E    answered by 01 03 06 07 00 00 00 C0 00 70 C2
class pdu {
 public:
    static constexpr int head_size = 3;
    static constexpr int crc_size = 2;
    /// Kind of values by which the calculator's properties are read.
    static constexpr unsigned char kind_properties = 6;

    // Append a whole request frame for a parameter, whose absence raises an xExceptionf.
    static void open_session(xCommon::ByteList& out, unsigned char sid, CParam const* param);
    static void read_data(xCommon::ByteList& out, unsigned char sid, CParam const* param);
    static void read_active_elements_list(xCommon::ByteList& out, unsigned char sid, CParam const* param);
    static void write_values(xCommon::ByteList& out, unsigned char sid, CParam const* param, unsigned char kind);
    static void write_elements_for_read(xCommon::ByteList& out, unsigned char sid, CParam const* param);
    static void read_parameters(xCommon::ByteList& out, unsigned char sid, CParam const* param,
                                unsigned short reg_addr);

    /// Whether a reply may be read on.
    static xCommon::HeadFault check_head(unsigned char sid, std::span<unsigned char const> head) {
        return xCommon::head_fault(head, sid, head_size);
    }
    /// True for exactly one answer: to function 03 by its byte count, to 10 of eight bytes, or a refusal of five.
    static bool is_whole(std::span<unsigned char const> frame);
    /// True when the last two bytes are the CRC of those before them.
    static bool check_crc(std::span<unsigned char const> frame);
};

}  // namespace vkt7rtu
