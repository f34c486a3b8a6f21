#include "ctl/simulate/devices/media_controller.h"

#include <cstdio>

#include "ctl/language/phrase.h"

namespace sim {

Bytes MediaController::answer(View request, double /*seconds*/) {
    if (request.size() < 2 || request.front() != '[' || request.back() != ']') {
        return {};
    }
    std::string numbers;
    for (unsigned char const byte : request.subspan(1, request.size() - 2)) {
        numbers += " " + std::to_string(byte);
    }
    std::printf("%s\n", say("command%s", numbers).c_str());
    std::fflush(stdout);
    return {};
}

}  // namespace sim
