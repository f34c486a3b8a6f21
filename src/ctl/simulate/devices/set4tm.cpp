#include "ctl/simulate/devices/set4tm.h"

namespace sim {

namespace {

constexpr unsigned char no_function = 1;
constexpr unsigned char busy = 6;
constexpr unsigned char wrong_password = 13;
constexpr unsigned char refused = 0x80;

}  // namespace

Bytes Set4tm::answer(View request, double seconds) {
    constexpr size_t around = 4;
    if (!is_mine(request, around)) {
        return {};
    }
    unsigned char const function = request[1];
    View const body = request.subspan(2, request.size() - around);
    auto const refusal_code = static_cast<unsigned char>(function | refused);
    switch (function) {
        case 0x00:
        case 0x09:
            return with_crc({address_, function, 0x00});
        case 0x08:
            return text_of(body) == password_ ? with_crc({address_, function, 0x00})
                                              : with_crc({address_, refusal_code, wrong_password});
        case 0x01: {
            Bytes reply = {address_, function, 0x00, 4};
            push_low_first(reply, static_cast<uint64_t>(seconds), 4);
            return with_crc(reply);
        }
        default:
            return with_crc({address_, refusal_code, no_function});
    }
}

Bytes Set4tm::refusal(View request) {
    return with_crc({address_, static_cast<unsigned char>(request[1] | refused), busy});
}

}  // namespace sim
