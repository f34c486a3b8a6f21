// Register image to text and back. The two directions are no mirror images: i8, u8, fixi16 and fixu16 can be read and
// never written.

#include <string>

#include "config/utils.h"
#include "drivers/modbus/config.h"
#include "foundation/xexception.h"

namespace modbus {

using xCommon::ByteList;
using xCommon::net;
using xCommon::WordOrder;
using xCommon::xExceptionf;
using xCommon::xString;

namespace {

constexpr ValueSize value_sizes[] = {{vt_str8, 4, 8},    {vt_i32, 2, 4},     {vt_u32, 2, 4},    {vt_str4, 2, 4},
                                     {vt_float32, 2, 4}, {vt_i8, 1, 2},      {vt_i16, 1, 2},    {vt_u8, 1, 2},
                                     {vt_u16, 1, 2},     {vt_float16, 1, 2}, {vt_fixi16, 1, 2}, {vt_fixu16, 1, 2},
                                     {vt_str2, 1, 2}};

/// A fraction byte counts 1/256; the printed fraction is that in ten-thousandths, cut and not padded with zeros: 128
/// prints as 5000, 1 as 39. What reads the topics is set up for this form.
std::string fixed_point(unsigned char whole, unsigned char fraction) {
    auto const printed = static_cast<unsigned short>(fraction * 39.0625);
    return xString::Format("%u.%u", whole, printed);
}

}  // namespace

ValueSize value_size(int value_type) {
    for (ValueSize const& row : value_sizes) {
        if (row.value_type == value_type) {
            return row;
        }
    }
    return {value_type, 1, 1};
}

std::string c_param::GetValueFromBuffer(unsigned char const* buf, int len) const {
    if (buf == nullptr || len <= 0) {
        throw xExceptionf("%s # пустое значение.", name);
    }
    int const least_bytes = value_size(value_type).least_bytes;
    if (len < least_bytes) {
        throw xExceptionf("%s # буфер слишком мал для значения.", name);
    }
    auto const order = static_cast<WordOrder>(word_order);
    bool const big_endian = order == WordOrder::big_endian;
    int position = 0;
    switch (value_type) {
        case vt_bit:
            return xString::Format("%d", buf[0] & 1);
        case vt_i32:
            return xString::Format("%d", net::get_i32(buf, position, order));
        case vt_u32:
            return xString::Format("%u", net::get_u32(buf, position, order));
        case vt_i8:  // the sign isn't applied: 0xFF reads 255, as it always has
        case vt_u8:
            return xString::Format("%u", buf[big_endian ? 0 : 1]);
        case vt_i16:
            return xString::Format("%d", net::get_i16(buf, position, order));
        case vt_u16:
            return xString::Format("%u", net::get_u16(buf, position, order));
        case vt_float16:
            return xString::Format("%0.2f", Utils::i16_to_float32(net::get_i16(buf, position, order)));
        case vt_float32:
            return xString::Format("%0.2f", net::get_f32(buf, position, order));
        case vt_fixi16:
        case vt_fixu16:
            return fixed_point(buf[big_endian ? 0 : 1], buf[big_endian ? 1 : 0]);
        case vt_str2:
        case vt_str4:
        case vt_str8:
            return {reinterpret_cast<char const*>(buf), static_cast<size_t>(least_bytes)};
        default:
            throw xExceptionf("%s # недопустимый value_type", name);
    }
}

void c_param::GetValueFromString(ByteList& out, std::string const& value) const {
    if (value.empty()) {
        throw xExceptionf("%s # пустое значение.", name);
    }
    auto const order = static_cast<WordOrder>(word_order);
    switch (value_type) {
        case vt_bit:
            if (value != "0" && value != "1") {
                throw xExceptionf("%s # недопустимое значение [%s] для value_type = bit.", name, value);
            }
            out.push_16(value == "1" ? 0xFF00 : 0, WordOrder::big_endian);
            break;
        case vt_i32:
            out.push_32(static_cast<unsigned int>(xString::stol32(value)), order);
            break;
        case vt_u32:
            out.push_32(static_cast<unsigned int>(xString::stoul32(value)), order);
            break;
        case vt_i16:
            out.push_16(static_cast<unsigned short>(xString::stol32(value)), order);
            break;
        case vt_u16:
            out.push_16(static_cast<unsigned short>(xString::stoul32(value)), order);
            break;
        case vt_float16:
            out.push_16(Utils::float32_to_u16(std::stof(value)), order);
            break;
        case vt_float32:
            out.push_float(std::stof(value), order);
            break;
        case vt_str2:
        case vt_str4:
        case vt_str8:
            // Neither cut nor padded to the registers that the frame announces: the text goes out as it came.
            out.push_string(value);
            break;
        default:
            throw xExceptionf("%s # недопустимый value_type.", name);
    }
}

}  // namespace modbus
