#include "sim/media_controller.h"

#include <cstdio>

namespace sim {

Bytes MediaController::answer(std::span<uint8_t const> request, double /*seconds*/) {
    if (request.size() < 2 || request.front() != '[' || request.back() != ']') {
        std::printf("no frame\n");
    } else {
        std::printf("command");
        for (uint8_t const byte : request.subspan(1, request.size() - 2)) {
            std::printf(" %d", byte);
        }
        std::printf("\n");
    }
    std::fflush(stdout);
    return {};
}

}  // namespace sim
