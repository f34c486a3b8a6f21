#pragma once

#include <span>
#include <string>

#include "drivers/merc_2xx/config.h"
#include "foundation/byte_list.h"

namespace merc_2xx {

/// Frames. Each begins with the meter's address and ends with a CRC of all before it, low byte of the Modbus CRC first.
///
/// Requests, in front of the CRC:
/// offset  size  field                          test  open  close  array  param
///   0      1    address
///   1      1    function                        00    01    02     05     08
///   2      1    access level                          01
///               array << 4 | month                                 xx
///               group                                                     11
///   3      6    password, each character & 0F        07 03 08 02 00 05
///   3      1    tariff, 0 for the sum                              xx
///               number of the value                                       xx
///
/// Replies:
///   0      1    address
///   1      n    array12: 3 energies of 4 bytes, array16: 4 of them; param: 3 bytes, or 2 for "m6" and "m7"
///   1+n    2    CRC
/// The short reply, to test, opening, closing, and in place of any other:
///   0      1    address
///   1      1    status
///   2      2    CRC
///
/// Meter 5: opened, the sum of array 0, closed:
///   05 01 01 07 03 08 02 00 05 C2 B8        05 00 02 E0
///   05 05 01 00 11 79                       05 00 00 D2 04 FF FF FF FF 01 00 02 00 FF FF FF FF 6A C8
///   05 02 83 21                             05 00 02 E0
class pdu {
 public:
    /// Status codes of the short reply; any other is unknown.
    static constexpr int status_ok = 0;
    static constexpr int status_closed = 5;
    static constexpr int status_unknown = 6;
    static constexpr int short_reply = 4;
    /// The meter is asked with these alone.
    static constexpr unsigned char access_level = 1;
    static constexpr char password[] = "738205";

    /// Append a request. open() raises an xException for a password that hasn't six characters.
    static void open(xCommon::ByteList& out, unsigned char sid, unsigned char level, std::string const& password);
    static void close(xCommon::ByteList& out, unsigned char sid);
    /// Asks whether somebody is there, which needs no open channel. The driver has no use for it.
    static void test(xCommon::ByteList& out, unsigned char sid);
    static void read_array(xCommon::ByteList& out, unsigned char sid, c_param const* cp);
    static void read_param(xCommon::ByteList& out, unsigned char sid, c_param const* cp);

    /// Bytes of the reply that carries the value.
    static int exp_resp_size(c_param const* cp);
    /// Status of a short reply; that of what is no reply of this meter is unknown.
    static int parse_error(std::span<unsigned char const> reply, unsigned char sid);
    /// Text of a status that isn't "all is well"; null for that one, and for what is no reply of this meter.
    static char const* reason(std::span<unsigned char const> reply, unsigned char sid);
};

}  // namespace merc_2xx
