#include "drivers/merc_2xx/config.h"
#include "foundation/xexception.h"

namespace merc_2xx {

using xCommon::xExceptionf;
using xCommon::xString;

namespace {

/// Offset of the last energy in a reply, by the kind of array.
struct ArrayKind {
    int last_offset;
    char const* wrong_offset;
};

constexpr ArrayKind array_kinds[] = {{8, "%s # недопустимое смещение для типа регистра array12."},
                                     {12, "%s # недопустимое смещение для типа регистра array16."}};

constexpr size_t energy_size = 4;

std::string sign_and_value(bool negative, int value) {
    return xString::Format("%d", negative ? -value : value);
}

unsigned int low_first(unsigned char const* b) {
    return b[0] | static_cast<unsigned int>(b[1]) << 8U;
}

unsigned int high_first(unsigned char const* b) {
    return static_cast<unsigned int>(b[0]) << 8U | b[1];
}

/// Two words, the high one first, each with its low byte first.
std::string ma(unsigned char const* b) {
    return xString::Format("%u", low_first(b) << 16U | low_first(b + 2));
}

std::string m0a(unsigned char const* b) {
    return sign_and_value(b[0] > 127, c_param::i_getValue132(b));
}

std::string m0r(unsigned char const* b) {
    return sign_and_value((b[0] & 0x40U) != 0, c_param::i_getValue132(b));
}

std::string m1(unsigned char const* b) {
    return xString::Format("%u", c_param::u_getValue132(b));
}

std::string m3(unsigned char const* b) {
    return sign_and_value(b[0] != 0x40, static_cast<int>(low_first(b + 1)));
}

std::string m6(unsigned char const* b) {
    return xString::Format("%d", low_first(b));
}

std::string m7(unsigned char const* b) {
    return xString::Format("%d", high_first(b));
}

struct ValueRow {
    int value_type;
    size_t bytes;
    std::string (*text)(unsigned char const* b);
};

/// "ma" takes a byte more than a value has: its last one is the first of the CRC. Readings of installed meters are
/// compared with those of before, so it stays.
constexpr ValueRow value_rows[] = {{vt_ma, energy_size, ma}, {vt_m0a, 3, m0a}, {vt_m0r, 3, m0r}, {vt_m1, 3, m1},
                                   {vt_m3, 3, m3},           {vt_m6, 2, m6},   {vt_m7, 2, m7}};

}  // namespace

unsigned int c_param::u_getValue132(unsigned char const* b) {
    return static_cast<unsigned int>(b[0]) << 16U | low_first(b + 1);
}

int c_param::i_getValue132(unsigned char const* b) {
    return static_cast<int>(u_getValue132(b) & 0x3FFFFFU);
}

std::string c_param::getValueFromBuf(unsigned char const* b, int n) const {
    if (b == nullptr || n <= 0) {
        throw xExceptionf("%s # пустое значение.", name);
    }
    std::span<unsigned char const> const data(b, static_cast<size_t>(n));
    return reg_type == reg_param ? param_value(data) : array_value(data);
}

std::string c_param::array_value(std::span<unsigned char const> data) const {
    if (value_type != vt_ma) {
        throw xExceptionf("%s # недопустимый тип значения для типа регистра array12 или array16.", name);
    }
    ArrayKind const& kind = array_kinds[reg_type];
    if (offset > kind.last_offset) {
        throw xExceptionf(xCommon::RuntimeFormat(kind.wrong_offset), name);
    }
    if (data.size() < offset + energy_size) {
        throw xExceptionf("%s # буфер слишком мал для значения.", name);
    }
    return ma(data.data() + offset);
}

std::string c_param::param_value(std::span<unsigned char const> data) const {
    for (ValueRow const& row : value_rows) {
        if (row.value_type != value_type) {
            continue;
        }
        if (data.size() < row.bytes) {
            throw xExceptionf("%s # буфер слишком мал для значения.", name);
        }
        return row.text(data.data());
    }
    throw xExceptionf("%s # недопустимый value_type.", name);
}

}  // namespace merc_2xx
