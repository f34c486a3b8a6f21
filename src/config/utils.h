#pragma once

#include <string>

#include <json/value.h>

#include "foundation/xlog.h"

/// Conversions shared by the drivers.
class Utils {
 public:
    /// Little-endian integer of `count` bytes. 0 for a null pointer or a count outside 1 to 8. Never more than four
    /// bytes are added up, and a fourth of 0x80 and above makes the result negative: readings of installed meters are
    /// compared with those of before, so both stay.
    static long long LE_int(unsigned char const* data, int count);
    /// The eight digits of four BCD bytes, of the bytes 3 to 0 in this order the low nibble ahead of the high one.
    /// A nibble above 9 gives the ASCII characters behind "9".
    static std::string LE_bcd32(unsigned char const* data);
    /// IEEE 754 binary16 to the bit pattern of a binary32, given as the value of that pattern taken as an unsigned
    /// integer. So 1.0 reads as 1065353216: drivers and their users count on this number.
    static float i16_to_float32(short half);
    /// Bit pattern of the nearest binary16, ties to even.
    static unsigned short float32_to_u16(float value);
    /// A JSON integer, or a text read as one (hexadecimal when it contains "0x", else decimal); 0 for anything else.
    /// Cut to its low 16 bits.
    static int jToInt(Json::Value const& value);
    /// A line for a name with which the broker refuses a topic.
    static void tell_unusable_name(xCommon::LogItem const& node, std::string const& name);
};
