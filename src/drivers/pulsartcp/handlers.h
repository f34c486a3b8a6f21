#pragma once

#include <functional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace pulsartcp {

/// The bytes of a response between its head and its id.
using Payload = std::vector<unsigned char>;
/// Gives the text of a payload. It is called twice on the same vector, and may change it.
using Handler = std::function<std::string(Payload&)>;
/// Kind of device, function, parameter number.
using Handlers =
    std::unordered_map<std::string, std::unordered_map<unsigned char, std::unordered_map<unsigned short, Handler>>>;

/// One row of a kind's table.
struct HandlerRow {
    unsigned char function;
    unsigned short parameter;
    std::string (*handler)(Payload&);
};

/// Enters the rows of a kind, and those of the radio module that all kinds have.
void add_handlers(Handlers& map, std::string const& kind, std::span<HandlerRow const> rows);

/// The forms that payloads come in. Multi-byte values have their low byte first, and what stands behind a form is
/// passed over. A payload too short for its form is no error: it gives the text of zero, or none.
namespace form {

std::string u8(Payload& payload);
std::string i8(Payload& payload);
std::string u16(Payload& payload);
std::string i16(Payload& payload);
std::string u32(Payload& payload);
/// "Да" for anything but 0, else "Нет".
std::string yes_no(Payload& payload);

std::string fixed(Payload const& payload, int decimals);
/// A 32-bit float with that many decimals.
template <int decimals>
std::string f32(Payload& payload) {
    return fixed(payload, decimals);
}

/// 0-1 a, 2-3 b, 4-5 c, 6 d, 7 e: "a-b.c-d.e"; of zeros when it is too short.
std::string version(Payload& payload);

constexpr size_t status_bits = 12;
/// A text for each bit, or null. The texts of the bits set, each with its line feed, behind a line feed; a fixed text
/// when all 16 bits are 0.
std::string status(Payload const& payload, std::span<char const* const, status_bits> texts);

/// Bytes in hexadecimal with blanks between them, of a payload of 8 bytes and more. Each call turns the payload round:
/// the first one shows the last byte ahead, the second the order of the wire.
std::string hexadecimal(Payload& payload);
/// Byte 0 as the radio's region.
std::string region(Payload& payload);
/// Bytes 0, 1 and 2 of four: "a: b: c".
std::string triple(Payload& payload);
/// Of 8 bytes: 0, 1, the flag of 4, 5, 6, joined by ":".
std::string link(Payload& payload);
/// Of 8 bytes: the flag of 0, then 2 to 6, joined by ":".
std::string state(Payload& payload);
/// 0-3 unsigned, 4-5 signed, 6, 7, joined by ":".
std::string counter(Payload& payload);
/// The clock isn't decoded: the text is "read_datatime" whatever came.
std::string datatime(Payload& payload);

}  // namespace form

}  // namespace pulsartcp
