#include "drivers/dcon/device.h"
#include "drivers/dcon/pdu.h"
#include "fuzz/harness.h"

namespace {

using dcon::c_param;
using dcon::pdu;

/// One parameter of each command that is answered with data.
std::vector<c_param const*> const& params() {
    static std::vector<c_param const*> const* const made = [] {
        Json::Value bit;
        bit["name"] = "b";
        bit["offset"] = 0;
        Json::Value node;
        node["name"] = "v";
        node["channel"] = "A";
        node["bh_list"].append(bit);
        Json::Value device;
        device["name"] = "m";
        device["sid"] = 1;
        for (int const cmd : {9, 10, 13, 21}) {
            node["name"] = "v" + std::to_string(cmd);
            node["type"] = "dcon";
            node["cmd"] = cmd;
            device["params"].append(node);
        }
        Json::Value parent;
        parent["name"] = "p";
        auto* const owner = new dcon::c_dev(new CBase(nullptr, parent), device);
        auto* const result = new std::vector<c_param const*>;
        for (auto const& child : owner->children) {
            result->push_back(dynamic_cast<c_param const*>(child.get()));
        }
        return result;
    }();
    return *made;
}

const fuzz::Registrar registrar({
    {"dcon head",
     [](fuzz::Bytes& input) {
         for (c_param const* param : params()) {
             pdu::check_head(param, input.data(), static_cast<int>(input.size()), "");
         }
     },
     {"3E 30 31 2B 31", "3F 30 31", "21 30 30 46 46"}},
    {"dcon checksum",
     [](fuzz::Bytes& input) {
         // The first byte tells how many it covers, also more than there are.
         int const length = input.empty() ? 0 : input.front() - 4;
         dcon::dev::check_crc(params().front(), input, length);
     },
     {"0D 3E 30 31 2B 31 2E 32 33 38 45 0D"}},
    {"dcon value",
     [](fuzz::Bytes& input) {
         // An exception ends the run of an input.
         auto const first = input.empty() ? size_t{0} : input.front() % params().size();
         pdu::get_value(params().at(first), input.data(), static_cast<int>(input.size()));
     },
     {"32 30 46 46 30 30", "33 30 46 66", "33 00 30 30", "30 2B 31 2E 32"},
     16},
});

}  // namespace
