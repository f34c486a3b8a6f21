#include "drivers/vkt7rtu/config.h"
#include "drivers/vkt7rtu/pdu.h"
#include "drivers/vkt7rtu/reply.h"
#include "fuzz/harness.h"

namespace {

using vkt7rtu::Reply;

vkt7rtu::c_param const& log_param() {
    static vkt7rtu::c_param const* const param = [] {
        Json::Value node;
        node["name"] = "v";
        node["reg_addr"] = 3;
        return new vkt7rtu::c_param(nullptr, node);
    }();
    return *param;
}

const fuzz::Registrar registrar({
    {"vkt7 head",
     [](fuzz::Bytes& input) {
         vkt7rtu::pdu::check_head(&log_param(), 1, input.data(), static_cast<int>(input.size()));
         vkt7rtu::pdu::check_crc(input);
     },
     {"01 03 02 00 05 B8 44", "01 83 02 C0 F1"}},
    {"vkt7 properties",
     [](fuzz::Bytes& input) {
         Reply::server_version(input);
         Reply::precisions(log_param(), input);
     },
     {"01 03 42 02 00 6D 33 C0 00 02 00 74 20 C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 00 00 "
      "C0 00 02 C0 00 02 C0 00 02 C0 00 01 C0 00 03 C0 00 02 C0 00 02 C0 00 03 C0 00 12 34",
      "01 03 03 FF C0 00 12 34"},
     300},
    {"vkt7 active registers",
     [](fuzz::Bytes& input) { Reply::has_register(log_param(), input, 3); },
     {"01 03 0C 00 00 00 40 02 00 03 00 00 40 04 00 12 34", "01 03 00 12 34"},
     300},
    {"vkt7 value",
     [](fuzz::Bytes& input) {
         for (unsigned short const number : {3, 19}) {
             Reply::value(log_param(), input, *vkt7rtu::find_register(number), input.empty() ? 0 : input.back());
         }
     },
     {"01 03 04 D2 04 C0 00 12 34", "01 03 06 D2 04 00 00 C0 00 12 34", "01 03 00 12 34"},
     300},
});

}  // namespace
