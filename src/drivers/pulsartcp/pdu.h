#pragma once

#include <optional>
#include <string>
#include <vector>

#include "drivers/pulsartcp/handlers.h"
#include "foundation/byte_list.h"

namespace pulsartcp {

class c_dev;
class c_param;

/// What a response was found to hold, as far as it was looked at.
struct Findings {
    std::string failure;                ///< its text, of a response that can't be used
    std::optional<int> id;              ///< -1 where the length puts it outside of what came
    std::optional<unsigned short> crc;  ///< computed; `received_crc` stands beside it
    unsigned short received_crc = 0;
};

/// Frames. Each goes out as one write and comes in by one read. The meter echoes the random id of a request.
///
/// Request                                                Response
///   offset  size  field                                    offset  size  field
///     0      4    address, BCD, high digits first            0      4    address, as of the request
///     4      1    function                                   4      1    function; 0: an error
///     5      1    length of the frame                        5      1    length L of the frame
///     6      2    parameter number, low byte first           6     L-10  payload; of an error its code
///     8      2    id, low byte first                        L-4     2    id, low byte first
///    10      2    CRC as of Modbus, its low byte first      n-2     2    CRC, at the end of the n bytes that came
///
/// With function 1 a mask of channels of 4 bytes stands in place of the parameter number. A function other than 10 and
/// 1 has neither length nor number: id and CRC follow it at once.
///
/// Parameter 0x1003 of the meter 12345678, id 0xBEEF, and its value -1:
///   12 34 56 78 0A 0C 03 10 EF BE 16 E2
///   12 34 56 78 0A 0C FF FF EF BE 17 47
class pdu {
 public:
    /// Appends a request. Raises an xException for a parameter that is null.
    static void read(xCommon::ByteList& out, unsigned int address, unsigned char function, unsigned int parameter,
                     unsigned short id, c_param* param);
    /// Takes the request that a response answers off the open ones, puts its parameter in the place of `param` and goes
    /// through the rest of the response. 0, or a negative code with `found.failure` set; a response that fails behind
    /// its id has used its request up too.
    static int check_frame(c_dev* cdev, c_param*& param, Findings& found, unsigned char const* frame, int size);
    /// Leaves the payload of a response, nothing of one whose length leaves no room for any.
    static void cut_payload(std::vector<unsigned char>& frame);
    /// Text of the code in an error response.
    static std::string print_error(unsigned char code);
    static unsigned short random_id();
    /// Decimal digits in nibbles, the last in the lowest; digits above the eighth are lost.
    static unsigned int bcd_msb(unsigned int number);
    /// Fills an empty table with all kinds of device.
    static void init_parameter_handlers(Handlers& map);
};

}  // namespace pulsartcp
