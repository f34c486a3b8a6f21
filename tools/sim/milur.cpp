#include "sim/milur.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "sim/mercury.h"

namespace sim {

namespace {

// Error codes.
constexpr uint8_t no_function = 1;
constexpr uint8_t no_object = 2;
constexpr uint8_t session_closed = 8;
constexpr uint8_t wrong_password = 13;

/// Access level 0 and the password.
constexpr std::array<uint8_t, 7> access = {0x00, 0x5C, 0xA7, 0x31, 0xE2, 0x0D, 0x9B};

Bytes little_endian(double value, int size) {
    auto const number = static_cast<uint64_t>(std::llround(value));
    Bytes bytes;
    for (int at = 0; at < size; ++at) {
        bytes.push_back(static_cast<uint8_t>(number >> (8 * at)));
    }
    return bytes;
}

/// Eight digits from the last byte to the first, in each the earlier digit in the low half.
Bytes bcd(double value) {
    auto number = static_cast<uint32_t>(value);
    Bytes bytes;
    for (int at = 0; at < 4; ++at) {
        bytes.push_back(static_cast<uint8_t>(((number % 10) << 4U) | (number / 10 % 10)));
        number /= 100;
    }
    return bytes;
}

Bytes value_of(uint8_t object, double seconds) {
    double const swing = std::sin(seconds / 10);
    switch (object) {
        case 1:
            return little_endian(230000 + 3000 * swing, 3);
        case 2:
            return little_endian(4500 + 500 * swing, 3);
        case 3:
            return little_endian(1000 + 100 * swing, 4);
        case 4:
            return bcd(123456 + 1000 * seconds / 3600);
        case 9:
            return little_endian(5000 + 2 * swing, 2);
        default:
            return {};
    }
}

}  // namespace

Milur::Milur(std::string const& number) : address_(static_cast<uint8_t>(std::stoi(number))) {}

Bytes Milur::refuse(uint8_t function, uint8_t code) const {
    return with_crc({address_, static_cast<uint8_t>(function | 0x80U), code});
}

Bytes Milur::read(uint8_t object, double seconds) const {
    Bytes const value = value_of(object, seconds);
    if (value.empty()) {
        return refuse(0x01, no_object);
    }
    Bytes reply = {address_, 0x01, object, static_cast<uint8_t>(value.size() + 2)};
    reply.insert(reply.end(), value.begin(), value.end());
    return with_crc(reply);
}

Bytes Milur::answer(std::span<uint8_t const> request, double seconds) {
    if (request.size() < 5 || request[0] != address_ || !has_crc(request)) {
        return {};
    }
    uint8_t const function = request[1];
    std::span<uint8_t const> const body = request.subspan(2, request.size() - 4);
    switch (function) {
        case 0x08:
            open_ = std::equal(body.begin(), body.end(), access.begin(), access.end());
            return open_ ? with_crc({address_, function, body[0]}) : refuse(function, wrong_password);
        case 0x09:
            open_ = false;
            return with_crc({address_, function, body[0]});
        case 0x01:
            return open_ ? read(body[0], seconds) : refuse(function, session_closed);
        default:
            return refuse(function, no_function);
    }
}

}  // namespace sim
