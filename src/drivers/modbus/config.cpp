#include "drivers/modbus/config.h"

#include "config/utils.h"
#include "foundation/duk_helper.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace modbus {

using xCommon::jUtils;
using xCommon::lmtError;
using xCommon::xExceptionf;

namespace {

constexpr RegTypes::Word words[] = {{"coil", reg_coil},           {"status", reg_status},
                                    {"holding-m", reg_holding_m}, {"holding-bit", reg_holding_bit},
                                    {"input", reg_input},         {"input-bit", reg_input_bit}};
constexpr RegTypes reg_types = {words, reg_holding, reg_holding_bit, reg_input_bit};

/// A pause can't be negative: one that is counts as none.
int get_poll_delay(CBase const& log, Json::Value const& node, int fallback) {
    int const asked = jUtils::get_int(node, "poll_delay", fallback);
    if (asked < 0) {
        log.Logf(lmtError, "poll_delay = %d : недопустимое значение, принято 0.", asked);
        return 0;
    }
    return asked;
}

/// A fresh evaluator serves each conversion: no state carries over.
std::string calculate(std::string const& expression, std::string const& value) {
    if (expression.empty()) {
        return value;
    }
    xCommon::dukHelper evaluator;
    evaluator.add_param("value", value);
    return evaluator.show(expression);
}

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node, std::string const& type_word)
    : CDev(port_node, node), port(port_node) {
    if (port == nullptr) {
        throw xExceptionf("#%s : ctor : не указан порт.", name);
    }
    if (!jUtils::has(node, "sid")) {
        throw xExceptionf("#%s : ctor : не указан аргумент 'sid'.", name);
    }
    sid = Utils::jToInt(node["sid"]);
    name = xCommon::xString::Format("%s_%d", name, sid);
    poll_delay = get_poll_delay(*this, node, 0);
    load_params(node, type_word);
}

int RegTypes::code_of(Json::Value const& node) const {
    std::string const text = jUtils::get_string(node, "reg_type", "");
    for (Word const& row : words) {
        if (text == row.text) {
            return row.code;
        }
    }
    return other;
}

c_register::c_register(CBase* device, Json::Value& node, RegTypes const& types)
    : CParam(device, node), reg_type(types.other), types_(types) {
    if (!jUtils::has(node, "reg_addr")) {
        throw xExceptionf("%s : не указан атрибут 'reg_addr'.", name);
    }
    reg_addr = static_cast<unsigned short>(Utils::jToInt(node["reg_addr"]));
    reg_type = types_.code_of(node);
    if (has_bits()) {
        bits = std::make_unique<bholding::bhold>(this, node);
    }
    // The parent is a device of another family when a parameter takes this class by its own `type`.
    auto const* modbus_device = dynamic_cast<c_dev const*>(device);
    int const default_delay = modbus_device != nullptr ? modbus_device->poll_delay : 0;
    poll_delay = static_cast<unsigned short>(get_poll_delay(*this, node, default_delay));
}

void c_register::Compare(Json::Value& node) {
    if (node.empty()) {
        return;
    }
    int const new_type = jUtils::has(node, "reg_type") ? types_.code_of(node) : reg_type;
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

c_param::c_param(CBase* device, Json::Value& node) : c_register(device, node, reg_types) {
    converter_read = jUtils::get_string(node, "converter_read", "");
    converter_write = jUtils::get_string(node, "converter_write", "");
}

int c_param::GetRegType(Json::Value const& node) {
    return reg_types.code_of(node);
}

std::string c_param::CalculateReadExpression(std::string const& value) const {
    return calculate(converter_read, value);
}

std::string c_param::CalculateWriteExpression(std::string const& value) const {
    return calculate(converter_write, value);
}

}  // namespace modbus
