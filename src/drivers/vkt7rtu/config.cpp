#include "drivers/vkt7rtu/config.h"

#include "config/constants.h"
#include "config/utils.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace vkt7rtu {

using xCommon::jUtils;
using xCommon::lmtError;
using xCommon::xExceptionf;

namespace {

const std::string type_word = "vkt7-rtu";
/// Configurations and templates in use leave the type of plain registers out, and so make them of this one.
const std::string param_type_word = "mb-rtu";

CBFac const registrars[] = {{type_word + suffix_cdev, c_dev::create}, {type_word + suffix_cparam, c_param::create}};

struct Word {
    char const* text;
    int code;
};

constexpr Word reg_types[] = {
    {"coil", reg_coil},           {"status", reg_status},           {"input", reg_input},
    {"holding-m", reg_holding_m}, {"holding-bit", reg_holding_bit}, {"input-bit", reg_input_bit}};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : modbus::c_dev(port_node, node, param_type_word) {}

CBase* c_dev::create(CBase* parent, Json::Value& node) {
    return new c_dev(parent, node);
}

c_param::c_param(CBase* device, Json::Value& node) : CParam(device, node) {
    if (!jUtils::has(node, "reg_addr")) {
        throw xExceptionf("%s : не указан атрибут 'reg_addr'.", name);
    }
    reg_addr = static_cast<unsigned short>(Utils::jToInt(node["reg_addr"]));
    reg_type = GetRegType(node);
    if (has_bits()) {
        bits = std::make_unique<bholding::bhold>(this, node);
    }
    auto const* modbus_device = dynamic_cast<modbus::c_dev const*>(device);
    int const default_delay = modbus_device != nullptr ? modbus_device->poll_delay : 0;
    poll_delay = static_cast<unsigned short>(jUtils::get_int(node, "poll_delay", default_delay));
}

CBase* c_param::create(CBase* parent, Json::Value& node) {
    return new c_param(parent, node);
}

int c_param::GetRegType(Json::Value const& node) {
    std::string const text = jUtils::get_string(node, "reg_type", "");
    for (Word const& row : reg_types) {
        if (text == row.text) {
            return row.code;
        }
    }
    return reg_holding;
}

void c_param::Compare(Json::Value& node) {
    if (node.empty()) {
        return;
    }
    int const new_type = jUtils::has(node, "reg_type") ? GetRegType(node) : reg_type;
    if (jUtils::has(node, "reg_addr")) {
        reg_addr = static_cast<unsigned short>(Utils::jToInt(node["reg_addr"]));
    }
    reg_type = new_type;
    if (has_bits() && jUtils::has(node, "bh_list")) {
        bits = std::make_unique<bholding::bhold>(this, node);
    }
    if (has_bits() && !bits) {
        Log(lmtError, "битовый параметр без списка 'bh_list' : публиковать нечего.");
    }
    CParam::Compare(node);
}

std::optional<Register> register_of(CBase* node) {
    if (auto* own = dynamic_cast<c_param*>(node)) {
        return Register{own, own->reg_addr, own->poll_delay, own};
    }
    if (auto* plain = dynamic_cast<modbus::c_param*>(node)) {
        return Register{plain, plain->reg_addr, plain->poll_delay, nullptr};
    }
    return std::nullopt;
}

}  // namespace vkt7rtu
