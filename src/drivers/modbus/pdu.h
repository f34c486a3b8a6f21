#pragma once

#include <span>
#include <string>

#include "drivers/modbus/config.h"
#include "foundation/byte_list.h"
#include "foundation/frame_head.h"

namespace modbus {

/// The Modbus protocol data unit behind the slave address (Modbus Application Protocol V1.1b3), the same on every
/// transport. Stateless: bytes in, bytes out.
///
/// Read request, functions 1 to 4:           Write request, functions 5 and 6:
///   0  1  slave address                       0  1  slave address
///   1  1  function                            1  1  function
///   2  2  address, high byte first            2  2  address
///   4  2  count of registers or coils         4  2  value
///
/// Write request, function 16:
///   0  1  slave address        4  2  count of registers
///   1  1  function             6  1  count of bytes
///   2  2  address              7  n  values
///
/// Replies:
///   to functions 1 to 4     0  1  slave address   1  1  function   2  1  count n of bytes   3  n  data
///   to functions 5 and 6    the request again
///   to function 16          0  1  slave address   1  1  function   2  2  address            4  2  count of registers
///   a refusal               0  1  slave address   1  1  function with bit 7 set             2  1  exception code
///
/// Slave 5, the holding registers 1 and 2 written as 7 (u32): 05 10 00 01 00 02 04 00 00 00 07, answered by
/// 05 10 00 01 00 02. Refused with "address not there": 05 90 02.
class pdu {
 public:
    /// Bytes of a reply's head.
    static constexpr int head_size = 3;

    /// Function to read a parameter. Raises an xExceptionf for an unknown register kind, an xException for null.
    static unsigned char getReadFunCode(c_param const* cp);
    /// Function to write a parameter. Raises an xExceptionf for a kind that can't be written, an xException for null.
    static unsigned char getWriteFunCode(c_param const* cp);
    /// Registers (or coils) that the parameter occupies. Raises an xException for null.
    static unsigned short getRegNum(c_param const* cp);

    /// Append the request from the slave address on, without what the transport puts around it.
    static void read_request(xCommon::ByteList& out, unsigned char sid, c_param const* cp);
    static void span_request(xCommon::ByteList& out, unsigned char sid, unsigned char function, unsigned short address,
                             unsigned short count);
    static void write_request(xCommon::ByteList& out, unsigned char sid, c_param const* cp, std::string const& value);

    /// Text of an exception code; codes of 12 and above have the text of 0, and that of 9 is empty.
    static char const* exception_text(unsigned char code);
    /// Whether a reply may be read on. The function isn't compared with the request's, nor the byte count: many slaves
    /// are lax there.
    static xCommon::HeadFault check_head(unsigned char sid, std::span<unsigned char const> reply) {
        return xCommon::head_fault(reply, sid, head_size);
    }
    /// Reason of a refusal; an empty text for any other reply.
    static char const* refusal(std::span<unsigned char const> reply);
};

/// Whole request frames of a transport: `Pdu` has a wrap() that appends a unit with what the transport puts around it.
/// Raise what the parts of pdu raise.
template <typename Pdu>
class framed_pdu : public pdu {
 public:
    static void read(xCommon::ByteList& out, unsigned char sid, c_param const* cp) {
        xCommon::ByteList unit;
        read_request(unit, sid, cp);
        Pdu::wrap(out, unit);
    }
    static void write(xCommon::ByteList& out, unsigned char sid, c_param const* cp, std::string const& value) {
        xCommon::ByteList unit;
        write_request(unit, sid, cp, value);
        Pdu::wrap(out, unit);
    }
    /// For `count` registers or coils from `address`.
    static void read_span(xCommon::ByteList& out, unsigned char sid, unsigned char function, unsigned short address,
                          unsigned short count) {
        xCommon::ByteList unit;
        span_request(unit, sid, function, address, count);
        Pdu::wrap(out, unit);
    }
};

}  // namespace modbus
