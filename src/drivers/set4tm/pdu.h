#pragma once

#include <span>
#include <string>

#include "drivers/meter/data_reply.h"
#include "drivers/set4tm/config.h"
#include "foundation/byte_list.h"

namespace set4tm {

/// Frames. Each begins with the meter's address and ends with a CRC of all before it, low byte of the Modbus CRC first.
///
/// Requests, in front of the CRC:
/// offset  size  field        test  open               close  read
///   0      1    address
///   1      1    function      00    08                 09     01
///   2      6    password            31 36 34 39 33 37
///   2      1    (fixed)                                01
///
/// Reply to opening and closing: address, function, one byte more, CRC. To a read:
///   0      1    address
///   1      1    function; bit 7 set: a refusal
///   2      1    (not looked at)
///   3      1    count of the data bytes
///   4      n    data
///   4+n    2    CRC
///
/// Meter 5 asked for a value, and its answer with two bytes; closed:
///   05 01 C3 20                             05 01 00 02 12 34 91 39
///   05 09 01 A6 51                          05 09 01 A6 51
class pdu {
 public:
    static constexpr int short_reply = 5;

    /// Append a request. test() and open() aren't sent yet.
    static void test(xCommon::ByteList& out, unsigned char sid);
    static void open(xCommon::ByteList& out, unsigned char sid, std::string const& password);
    static void close(xCommon::ByteList& out, unsigned char sid);
    static void read(xCommon::ByteList& out, unsigned char sid);

    /// Bytes of a whole reply. Nothing asks for it: the length comes with the head.
    static int exp_resp_size(c_param const* cp);
    static meter::Head check_head(unsigned char sid, std::span<unsigned char const> head);
    /// 0, whatever the reply says: what is to be told of its code, one of meter::error_texts, has no settled form yet,
    /// and belongs here.
    static int parse_error(std::span<unsigned char const> /*reply*/, unsigned char /*sid*/) { return 0; }
};

}  // namespace set4tm
