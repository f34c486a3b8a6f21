#include <algorithm>
#include <numeric>
#include <string>

#include "drivers/emera/device.h"
#include "drivers/emera/pdu.h"
#include "fuzz/harness.h"

namespace {

using emera::edev;

/// Holds a "date_time", so that the digits of a value are read too.
emera::ecparam const& date_param() {
    static emera::ecparam const* const param = [] {
        Json::Value node;
        node["name"] = "v";
        node["cmd"] = "DATE";
        node["value_type"] = "date_time";
        return new emera::ecparam(nullptr, node);
    }();
    return *param;
}

void reply(fuzz::Bytes& input) {
    int const size = static_cast<int>(input.size());
    if (edev::res_check(&date_param(), input.data(), size)) {
        for (std::string const& value : edev::res_parse(input.data(), size)) {
            edev::res_format(&date_param(), value);
        }
    }
}

/// ETX and BCC behind the bytes, so that what lies behind the check is reached.
void sealed_reply(fuzz::Bytes& input) {
    bool const has_head = !input.empty() && (input[0] == 0x01 || input[0] == 0x02);
    std::replace(input.begin(), input.end(), static_cast<unsigned char>(0x03), static_cast<unsigned char>('('));
    input.push_back(0x03);
    input.push_back(
        static_cast<unsigned char>(std::accumulate(input.begin() + (has_head ? 1 : 0), input.end(), 0U) & 0x7FU));
    input.shrink_to_fit();
    reply(input);
}

const fuzz::Registrar registrar({
    {"emera crc_check",
     [](fuzz::Bytes& input) { emera::epdu::crc_check(input.data(), static_cast<int>(input.size())); },
     {"02 45 54 30 50 45 28 31 2E 35 29 03 46", "41 42 03 06"}},
    {"emera res_check", reply, {"02 45 54 30 50 45 28 31 2E 35 29 03 46", "28 45 31 32 29 03 7C"}},
    {"emera res_parse",
     [](fuzz::Bytes& input) { edev::res_parse(input.data(), static_cast<int>(input.size())); },
     {"02 41 28 31 29 28 32 28 33 29 03 00", "28 29 03"}},
    {"emera sealed reply",
     sealed_reply,
     {"02 44 28 30 31 30 35 30 33 32 34 30 31 33 30 31 35 20 29", "41 28 31 29 28 32 28 33 29 0D 0A 28 29 00"}},
});

}  // namespace
