#include "sim/set4tm.h"

#include "sim/mercury.h"

namespace sim {

namespace {

constexpr uint8_t no_function = 1;
constexpr uint8_t wrong_password = 13;
constexpr char password[] = "164937";

}  // namespace

Set4tm::Set4tm(std::string const& number) : address_(static_cast<uint8_t>(std::stoi(number))) {}

Bytes Set4tm::answer(std::span<uint8_t const> request, double seconds) {
    if (request.size() < 4 || request[0] != address_ || !has_crc(request)) {
        return {};
    }
    uint8_t const function = request[1];
    std::span<uint8_t const> const body = request.subspan(2, request.size() - 4);
    auto const refusal = static_cast<uint8_t>(function | 0x80U);
    switch (function) {
        case 0x00:
        case 0x09:
            return with_crc({address_, function, 0x00});
        case 0x08:
            return std::string(body.begin(), body.end()) == password ? with_crc({address_, function, 0x00})
                                                                     : with_crc({address_, refusal, wrong_password});
        case 0x01: {
            auto const counter = static_cast<uint32_t>(seconds);
            Bytes reply = {address_, function, 0x00, 4};
            for (unsigned int const shift : {0U, 8U, 16U, 24U}) {
                reply.push_back(static_cast<uint8_t>(counter >> shift));
            }
            return with_crc(reply);
        }
        default:
            return with_crc({address_, refusal, no_function});
    }
}

}  // namespace sim
