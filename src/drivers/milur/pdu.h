#pragma once

#include <span>

#include "drivers/meter/data_reply.h"
#include "drivers/milur/config.h"
#include "foundation/byte_list.h"

namespace milur {

/// Frames. Each begins with the meter's address and ends with a CRC of all before it, low byte of the Modbus CRC first.
///
/// Requests, in front of the CRC:
/// offset  size  field            open              close  read
///   0      1    address
///   1      1    function          08                09     01
///   2      1    access level      00
///               (fixed)                             01
///               object                                     xx
///   3      6    password          5C A7 31 E2 0D 9B
///
/// Reply to opening and closing: address, function, one byte more, CRC. To a read:
///   0      1    address
///   1      1    function
///   2      1    object
///   3      1    count of the bytes that follow, CRC included
///   4      n    data, least significant byte first
///   4+n    2    CRC
/// Any of them with bit 7 of the function set is a refusal, whose code stands at offset 2.
///
/// Meter 5: opened, object 32 reads as 2304, refused because the session is closed, closed:
///   05 08 00 5C A7 31 E2 0D 9B E6 B2        05 08 00 66 01
///   05 01 20 61 89                          05 01 20 05 00 09 00 C8 8A
///                                           05 81 08 00 57
///   05 09 01 A6 51                          05 09 01 A6 51
class pdu {
 public:
    /// Code of a refusal that means something to the driver.
    static constexpr int error_closed = 8;
    static constexpr int short_reply = 5;
    /// The meter is asked with these alone.
    static constexpr unsigned char access_level = 0;
    static constexpr unsigned char password[] = {0x5C, 0xA7, 0x31, 0xE2, 0x0D, 0x9B};
    /// What check_head() gives when the meter has closed the session.
    static constexpr int head_closed = -1;

    /// Append a request. The password is six bytes.
    static void open(xCommon::ByteList& out, unsigned char sid, unsigned char level, unsigned char const* password);
    static void close(xCommon::ByteList& out, unsigned char sid);
    static void read(xCommon::ByteList& out, unsigned char sid, unsigned char object);

    /// Bytes of a whole reply. Nothing asks for it: the length comes with the head.
    static int exp_resp_size(c_param const* cp);
    /// What stands at the beginning of a data reply; head_closed in place of the count where the session is closed.
    static meter::Head check_head(unsigned char sid, std::span<unsigned char const> head);
    /// Code of a refusal; rubbish for what is no reply of this meter.
    static int parse_error(std::span<unsigned char const> reply, unsigned char sid);
};

}  // namespace milur
