#include "drivers/modbus/config.h"

#include <algorithm>

#include "config/keys.h"
#include "config/utils.h"
#include "foundation/duk_helper.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace modbus {

using xCommon::jUtils;
using xCommon::lmtError;
using xCommon::xExceptionf;

namespace {

constexpr RegTypes::Word words[] = {
    {"coil", reg_coil},           {"status", reg_status},           {"holding", reg_holding},
    {"holding-m", reg_holding_m}, {"holding-bit", reg_holding_bit}, {"input", reg_input},
    {"input-bit", reg_input_bit}};
constexpr RegTypes reg_types = {words, reg_holding, reg_holding_bit, reg_input_bit};

/// A pause can't be negative: one that is counts as none.
template <auto Member>
void read_poll_delay(xCommon::LogItem& node, Json::Value const& json, keys::Key const& key) {
    auto& delay = keys::member<Member>(node);
    int const asked = jUtils::get_int(json, key.name, delay);
    if (asked < 0) {
        node.Logf(lmtError, "poll_delay = %d : недопустимое значение, принято 0.", asked);
    }
    delay = static_cast<std::remove_reference_t<decltype(delay)>>(std::max(asked, 0));
}

using keys::Overlay;
using keys::Type;

constexpr keys::Key delay_table[] = {
    {"poll_delay", keys::Value(Type::integer, read_poll_delay<&c_dev::poll_delay>), "0",
     "pause ahead of each single request", "пауза перед каждым одиночным запросом", Overlay::ignored, nullptr, "ms"},
};

constexpr keys::Key register_table[] = {
    {"reg_addr", keys::code<&c_register::reg_addr>, "",
     "address of the first register or coil, as a number or as text, `\"0x10\"`",
     "адрес первого регистра или катушки, числом или текстом, `\"0x10\"`", Overlay::taken,
     "%s : не указан атрибут 'reg_addr'."},
    {"reg_type", Type::text, "holding", "the kind of register", "вид регистра", Overlay::taken},
    {"bh_list", Type::list, "", "the bits of `holding-bit` and `input-bit`: objects with `name`, `offset`, `inverted`",
     "биты видов `holding-bit` и `input-bit`: объекты с `name`, `offset`, `inverted`", Overlay::taken},
};
constexpr keys::Key register_delay_table[] = {
    {"poll_delay", keys::Value(Type::integer, read_poll_delay<&c_register::poll_delay>), nullptr,
     "pause ahead of its request", "пауза перед его запросом", Overlay::ignored, nullptr, "ms"},
};

constexpr keys::Key converter_table[] = {
    {"converter_read", keys::of<&c_param::converter_read>, "",
     "expression in JavaScript that makes the raw `value` what is published",
     "выражение JavaScript, превращающее исходное `value` в публикуемое"},
    {"converter_write", keys::of<&c_param::converter_write>, "",
     "expression in JavaScript that makes the written `value` a raw one",
     "выражение JavaScript, превращающее записываемое `value` в исходное"},
};

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

c_dev::c_dev(CBase* port_node, Json::Value& node, std::string const& type_word) : CAddressDev(port_node, node) {
    keys::read(delay_table, *this, node);
    load_params(node, type_word);
}

keys::Tables c_dev::key_tables() {
    return CAddressDev::key_tables() + delay_table;
}

bool RegTypes::knows(std::string_view text) const {
    return std::any_of(words.begin(), words.end(), [text](Word const& row) { return text == row.text; });
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
    keys::read(register_table, *this, node);
    reg_type = types_.code_of(node);
    if (has_bits()) {
        bits = std::make_unique<bholding::bhold>(this, node);
    }
    // The parent is a device of another family when a parameter takes this class by its own `type`.
    auto const* modbus_device = dynamic_cast<c_dev const*>(device);
    poll_delay = static_cast<unsigned short>(modbus_device != nullptr ? modbus_device->poll_delay : 0);
    keys::read(register_delay_table, *this, node);
}

keys::Tables c_register::key_tables() {
    return CParam::key_tables() + register_table + register_delay_table;
}

void c_register::Compare(Json::Value& node) {
    if (node.empty()) {
        return;
    }
    int const new_type = jUtils::has(node, "reg_type") ? types_.code_of(node) : reg_type;
    keys::lay_over(register_table, *this, node);
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
    keys::read(converter_table, *this, node);
}

keys::Tables c_param::key_tables() {
    return c_register::key_tables() + converter_table;
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
