#include "drivers/pulsartcp/handlers.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

#include "foundation/byte_list.h"
#include "foundation/xstring.h"

namespace pulsartcp {

using xCommon::net;
using xCommon::xString;

namespace {

/// Payload of the forms that have many fields.
constexpr size_t block_size = 8;

/// The number at `at`, 0 when the payload ends before its last byte.
template <typename T>
T number(Payload const& payload, size_t at, T (*get)(unsigned char const*, int&, xCommon::WordOrder)) {
    if (payload.size() < at + sizeof(T)) {
        return 0;
    }
    int position = static_cast<int>(at);
    return get(payload.data(), position, xCommon::WordOrder::little_endian);
}

int byte(Payload const& payload, size_t at) {
    return at < payload.size() ? payload[at] : 0;
}

/// Bit 1 alone. Bit 0 is left out although the field has two: subscribers know the text with one digit.
int flag(int value) {
    return (value >> 1) & 1;
}

/// Of the radio module, the same in every kind of device.
constexpr HandlerRow radio_rows[] = {
    {10, 0x1000, form::u8},
    {10, 0x1001, form::u8},
    // The coding: 0 is XOR, 1 a convolutional code of 2/3. Subscribers know the number, not the word.
    {10, 0x1002, form::u8},
    {10, 0x1003, form::i16},
    {10, 0x10F0, form::link},
    {10, 0x1100, form::hexadecimal},
    {10, 0x1101, form::hexadecimal},
    {10, 0x1110, form::region},
    {10, 0x1111, form::triple},
    {10, 0x1112, form::u8},
    {10, 0x1113, form::u8},
    {10, 0x1120, form::u8},
    {10, 0x1121, form::u8},
    {10, 0x1122, form::u8},
    {10, 0x1130, form::u8},
    {10, 0x1131, form::u8},
    {10, 0x1140, form::u8},
    {10, 0x1141, form::u8},
    {10, 0x11F0, form::state},
    {10, 0x11F1, form::counter},
};

}  // namespace

void add_handlers(Handlers& map, std::string const& kind, std::span<HandlerRow const> rows) {
    for (std::span<HandlerRow const> const table : {rows, std::span<HandlerRow const>(radio_rows)}) {
        for (HandlerRow const& row : table) {
            map[kind][row.function][row.parameter] = row.handler;
        }
    }
}

namespace form {

std::string u8(Payload& payload) {
    return std::to_string(byte(payload, 0));
}

std::string i8(Payload& payload) {
    return std::to_string(static_cast<signed char>(byte(payload, 0)));
}

std::string u16(Payload& payload) {
    return std::to_string(number(payload, 0, net::get_u16));
}

std::string i16(Payload& payload) {
    return std::to_string(number(payload, 0, net::get_i16));
}

std::string u32(Payload& payload) {
    return std::to_string(number(payload, 0, net::get_u32));
}

std::string yes_no(Payload& payload) {
    return byte(payload, 0) != 0 ? "Да" : "Нет";
}

std::string fixed(Payload const& payload, int decimals) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << static_cast<double>(number(payload, 0, net::get_f32));
    return text.str();
}

std::string version(Payload& payload) {
    if (payload.size() < block_size) {
        return "0-0.0-0.0";
    }
    return xString::Format("%d-%d.%d-%d.%d", number(payload, 0, net::get_u16), number(payload, 2, net::get_u16),
                           number(payload, 4, net::get_u16), byte(payload, 6), byte(payload, 7));
}

std::string status(Payload const& payload, std::span<char const* const, status_bits> texts) {
    unsigned int const bits = number(payload, 0, net::get_u16);
    if (bits == 0 && payload.size() >= sizeof(unsigned short)) {
        return "Ошибок не обнаружено";
    }
    std::string text = "\n";
    for (size_t bit = 0; bit < texts.size(); ++bit) {
        if (((bits >> bit) & 1U) != 0 && texts[bit] != nullptr) {
            text.append(texts[bit]).append("\n");
        }
    }
    return text;
}

std::string hexadecimal(Payload& payload) {
    if (payload.size() < block_size) {
        return {};
    }
    std::reverse(payload.begin(), payload.end());
    std::string text;
    for (unsigned char const value : payload) {
        text += xString::Format(text.empty() ? "%02x" : " %02x", value);
    }
    return text;
}

std::string region(Payload& payload) {
    if (payload.empty()) {
        return {};
    }
    return payload[0] == 0 ? "EU868" : payload[0] == 1 ? "RU864" : "error";
}

std::string triple(Payload& payload) {
    if (payload.size() < 4) {
        return {};
    }
    return xString::Format("%d: %d: %d", byte(payload, 0), byte(payload, 1), byte(payload, 2));
}

std::string link(Payload& payload) {
    if (payload.size() < block_size) {
        return {};
    }
    return xString::Format("%d:%d:%d:%d:%d", byte(payload, 0), byte(payload, 1), flag(byte(payload, 4)),
                           byte(payload, 5), byte(payload, 6));
}

std::string state(Payload& payload) {
    if (payload.size() < block_size) {
        return {};
    }
    return xString::Format("%d:%d:%d:%d:%d:%d", flag(byte(payload, 0)), byte(payload, 2), byte(payload, 3),
                           byte(payload, 4), byte(payload, 5), byte(payload, 6));
}

std::string counter(Payload& payload) {
    if (payload.size() < block_size) {
        return {};
    }
    return xString::Format("%u:%d:%d:%d", number(payload, 0, net::get_u32), number(payload, 4, net::get_i16),
                           byte(payload, 6), byte(payload, 7));
}

std::string datatime(Payload& /*payload*/) {
    return "read_datatime";
}

}  // namespace form

}  // namespace pulsartcp
