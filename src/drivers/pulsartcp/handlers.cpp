#include "drivers/pulsartcp/handlers.h"

#include <algorithm>
#include <array>
#include <span>

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
int flag(Payload const& payload, size_t at) {
    return (byte(payload, at) >> 1) & 1;
}

/// The text of the values, none when the payload is shorter than the whole form.
template <typename... Values>
std::string fields(Payload const& payload, size_t form_size, char const* format, Values... values) {
    return payload.size() < form_size ? std::string() : xString::Format(format, values...);
}

/// The forms that payloads come in. Multi-byte values have their low byte first, and what stands behind a form is
/// passed over. A payload too short for its form is no error: it gives the text of zero, or none.
namespace form {

std::string u8(Payload& payload) {
    return std::to_string(byte(payload, 0));
}

std::string i8(Payload& payload) {
    return std::to_string(static_cast<signed char>(byte(payload, 0)));
}

template <auto get>
std::string integer(Payload& payload) {
    return std::to_string(number(payload, 0, get));
}
constexpr auto u16 = integer<net::get_u16>;
constexpr auto i16 = integer<net::get_i16>;
constexpr auto u32 = integer<net::get_u32>;

/// A 32-bit float with that many decimals.
template <int decimals>
std::string f32(Payload& payload) {
    return xString::Format("%.*f", decimals, static_cast<double>(number(payload, 0, net::get_f32)));
}

std::string yes_no(Payload& payload) {
    return byte(payload, 0) != 0 ? "Да" : "Нет";
}

/// 0-1 a, 2-3 b, 4-5 c, 6 d, 7 e: "a-b.c-d.e".
std::string version(Payload& payload) {
    return fields(payload, block_size, "%d-%d.%d-%d.%d", number(payload, 0, net::get_u16),
                  number(payload, 2, net::get_u16), number(payload, 4, net::get_u16), byte(payload, 6),
                  byte(payload, 7));
}

/// Of a water meter one that is too short is told in zeros, of a pulse counter it is none.
std::string version_or_zeros(Payload& payload) {
    return payload.size() < block_size ? "0-0.0-0.0" : version(payload);
}

/// A text for each bit, or null.
using StatusTexts = std::array<char const*, 12>;
/// The texts of the bits set, each with its line feed, behind a line feed; a fixed text when all 16 bits are 0.
template <StatusTexts const& texts>
std::string status(Payload& payload) {
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

/// Bytes in hexadecimal with blanks between them. Each call turns the payload round: the first one shows the last byte
/// ahead, the second the order of the wire.
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

/// The radio's region.
std::string region(Payload& payload) {
    if (payload.empty()) {
        return {};
    }
    return payload[0] == 0 ? "EU868" : payload[0] == 1 ? "RU864" : "error";
}

/// Width of the radio's band.
std::string band(Payload& payload) {
    constexpr char const* bands[] = {"", "Широкополосный", "Узкополосный", "Двухполосный"};
    size_t const code = static_cast<size_t>(byte(payload, 0));
    return code < std::size(bands) ? bands[code] : "";
}

std::string triple(Payload& payload) {
    return fields(payload, 4, "%d: %d: %d", byte(payload, 0), byte(payload, 1), byte(payload, 2));
}

std::string link(Payload& payload) {
    return fields(payload, block_size, "%d:%d:%d:%d:%d", byte(payload, 0), byte(payload, 1), flag(payload, 4),
                  byte(payload, 5), byte(payload, 6));
}

std::string state(Payload& payload) {
    return fields(payload, block_size, "%d:%d:%d:%d:%d:%d", flag(payload, 0), byte(payload, 2), byte(payload, 3),
                  byte(payload, 4), byte(payload, 5), byte(payload, 6));
}

std::string counter(Payload& payload) {
    return fields(payload, block_size, "%u:%d:%d:%d", number(payload, 0, net::get_u32),
                  number(payload, 4, net::get_i16), byte(payload, 6), byte(payload, 7));
}

/// The clock isn't decoded: the text is this one whatever came.
std::string datatime(Payload& /*payload*/) {
    return "read_datatime";
}

}  // namespace form

constexpr char interference[] = "Обнаружено множество помех либо слишком коротких импульсов";

/// One sentence for the three channels: it may stand there three times.
constexpr form::StatusTexts pulse_status = {
    "Произошел сброс всех значений счетчиков",
    "Разрядилась батарея питания",
    "Ошибка чтения/записи EEPROM",
    "Неисправность трансивера (радио)",
    "Неисправность часового кварца",
    nullptr,
    nullptr,
    nullptr,
    interference,
    interference,
    interference,
};

constexpr form::StatusTexts water_status = {
    "Произошел сброс даты, времени, всех значений счетчиков",
    "Ошибка чтения/записи FLASH",
    "Ошибка чтения/записи EEPROM",
    "Разрядилась батарея питания",
    "Замкнут геркон",
    "Неисправность модуля RF",
    "Неисправность часового кварца",
    "Обрыв/замыкание дроселя 1",
    "Обрыв/замыкание дроселя 2",
    "Ошибка направления потока",
    "Зафиксирован расход ниже настраиваемого порога (параметр 0x0125)",
    "Зафиксирован расход выше настраиваемого порога (параметр 0x0126)",
};

/// A form, and the parameters that come in it.
struct HandlerRow {
    unsigned char function;
    std::string (*handler)(Payload&);
    std::vector<unsigned short> parameters;
};

HandlerRow const pulse_rows[] = {
    {1, form::f32<6>, {1, 2, 3}},
    {10, form::u16, {0x0000, 0x0008, 0x0009, 0x000C, 0x000E, 0x0013}},
    {10, form::u32, {0x0001, 0x0017, 0x0018, 0x0019}},
    {10, form::version, {0x0002}},
    {10, form::f32<6>, {0x0003, 0x0004, 0x0005}},
    {10, form::yes_no, {0x000B}},
    {10, form::status<pulse_status>, {0x000D}},
    {10, form::i8, {0x0012, 0x0020}},
    {10, form::u8, {0x0024}},
};

HandlerRow const water_rows[] = {
    {1, form::f32<3>, {1, 2}},
    {10, form::u16, {0x0000, 0x0011, 0x0012, 0x0040}},
    {10, form::u32, {0x0001, 0x0013, 0x0204, 0x0205}},
    {10, form::version_or_zeros, {0x0002}},
    {10, form::yes_no, {0x0003}},
    {10, form::status<water_status>, {0x0010}},
    {10, form::f32<1>, {0x0125, 0x0126}},
    {10, form::band, {0x0200}},
    {10, form::i8, {0x0206}},
    {10, form::u8, {0x0207}},
};

/// The clock and the radio module, the same in every kind of device. Of the radio's coding (0x1002: 0 is XOR, 1 a
/// convolutional code of 2/3) subscribers know the number, not the word.
HandlerRow const common_rows[] = {
    {4, form::datatime, {0}},
    {10, form::u8, {0x1000, 0x1001, 0x1002, 0x1112, 0x1113, 0x1120, 0x1121, 0x1122, 0x1130, 0x1131, 0x1140, 0x1141}},
    {10, form::i16, {0x1003}},
    {10, form::link, {0x10F0}},
    {10, form::hexadecimal, {0x1100, 0x1101}},
    {10, form::region, {0x1110}},
    {10, form::triple, {0x1111}},
    {10, form::state, {0x11F0}},
    {10, form::counter, {0x11F1}},
};

void add_handlers(Handlers::mapped_type& kind, std::span<HandlerRow const> rows) {
    for (HandlerRow const& row : rows) {
        for (unsigned short const parameter : row.parameters) {
            kind[row.function][parameter] = row.handler;
        }
    }
}

}  // namespace

void pulse_counter::register_pulse_counter_handlers(Handlers& map) {
    add_handlers(map["pulse_counter"], pulse_rows);
    add_handlers(map["pulse_counter"], common_rows);
}

void water_meter::register_water_meter_handlers(Handlers& map) {
    add_handlers(map["water_meter"], water_rows);
    add_handlers(map["water_meter"], common_rows);
}

}  // namespace pulsartcp
