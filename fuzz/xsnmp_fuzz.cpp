#include <string>

#include "drivers/xsnmp/device.h"
#include "drivers/xsnmp/inner_oid.h"
#include "fuzz/harness.h"

namespace {

xsnmp::sparam& param() {
    static auto* const node = [] {
        Json::Value json;
        json["name"] = "v";
        json["oid"] = "1.3";
        return new xsnmp::sparam(nullptr, json);
    }();
    return *node;
}

std::string text(fuzz::Bytes const& input) {
    return {input.begin(), input.end()};
}

const fuzz::Registrar registrar({
    {"xsnmp parse_value",
     [](fuzz::Bytes& input) { xsnmp::sdev::parse_value(&param(), text(input)); },
     {"54 69 6D 65 74 69 63 6B 73 3A 20 28 37 35 30 29", "48 65 78 2D 53 54 52 49 4E 47 3A 20 30 30",
      "49 4E 54 45 47 45 52 3A 20 35", "4E 6F 20 53 75 63 68"}},
    {"xsnmp inner_oid",
     [](fuzz::Bytes& input) {
         xsnmp::sdev::init("fuzz");
         xsnmp::inner_oid const unused("v", text(input));
     },
     {"31 2E 33 2E 36 2E 31", "2E 31 2E 33 2E 36", "69 73 6F 2E 33 2E 36 2E 22 61 22"}},
});

}  // namespace
