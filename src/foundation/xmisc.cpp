#include "foundation/xmisc.h"

#include <cmath>

#include <pthread.h>

#include "foundation/xstring.h"

namespace xCommon {

void name_thread(char const* role, std::string const& owner) {
    constexpr size_t kernel_limit = 15;
    std::string const name = owner.empty() ? std::string(role) : std::string(role) + ":" + owner;
    pthread_setname_np(pthread_self(), xString::CutUtf8(name, kernel_limit).c_str());
}

float xMisc::round(float value, float scale, int precision) {
    float const scaled = value * scale;
    double const power = std::pow(10.0, precision);
    double const rounded = std::round(static_cast<double>(scaled) * power) / power;
    return std::isfinite(rounded) ? static_cast<float>(rounded) : scaled;
}

std::string xMisc::Invert(std::string const& text) {
    if (text == "0") {
        return "1";
    }
    if (text == "1") {
        return "0";
    }
    return text;
}

}  // namespace xCommon
