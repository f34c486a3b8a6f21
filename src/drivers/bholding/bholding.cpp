#include "drivers/bholding/bholding.h"

#include "config/constants.h"
#include "config/keys.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"
#include "foundation/xmisc.h"
#include "runtime/port_base.h"

namespace bholding {

using xCommon::jUtils;
using xCommon::xException;
using xCommon::xExceptionf;

namespace {

constexpr unsigned int value_bits = 32;

using keys::Type;

/// No readers: a bit is no node of the tree.
constexpr keys::Key table[] = {
    {"name", Type::text, "", "the bit's name, behind the parameter's and \"_\" in topics",
     "имя бита, в топиках после имени параметра и «_»", keys::Overlay::ignored,
     "bitem.ctor : параметр 'node' не содержит 'name'"},
    {"offset", Type::integer, "", "bit number, 0 is the lowest; up to 15, with `u24` 23, with `u32` 31",
     "номер бита, 0 младший; не больше 15, для `u24` 23, для `u32` 31", keys::Overlay::ignored,
     "bitem.ctor : параметр 'node' не содержит 'offset'", "", keys::any_text, -keys::unbounded, 31},
    {"inverted", Type::flag, nullptr, "true: a set bit reads as 0", "true: установленный бит читается как 0"},
};

[[maybe_unused]] bool const described = CBFac::key_map().emplace("bh_list", keys::Tables{table}).second;

int max_offset_of(int value_type) {
    if (value_type == vt_u24) {
        return 23;
    }
    return value_type == vt_u32 ? 31 : 15;
}

}  // namespace

bitem::bitem(CParam* bit_param, Json::Value const& node, int max_offset)
    : param(bit_param), inverted(bit_param->inverted) {
    if (node.empty()) {
        throw xException("bitem.ctor : параметр 'node' пуст");
    }
    for (keys::Key const& key : table) {
        if (key.missing != nullptr && !jUtils::has(node, key.name)) {
            throw xException(key.missing);
        }
    }
    name = jUtils::get_string(node, "name", "");
    offset = jUtils::get_int(node, "offset", -1);
    if (offset > max_offset) {
        throw xExceptionf("bitem.ctor : параметр 'offset' превышает максимальное значение : %d", max_offset);
    }
    inverted = jUtils::get_bool(node, "inverted", inverted);
    param->tell_unusable(name);
}

std::string bitem::get_value(unsigned int value) const {
    auto const place = static_cast<unsigned int>(offset);
    bool const is_set = place < value_bits && ((value >> place) & 1U) != 0;
    std::string const text = is_set ? "1" : "0";
    return inverted ? xCommon::xMisc::Invert(text) : text;
}

std::string bitem::set_value(std::string const& current, std::string const& bit) const {
    if (bit != "0" && bit != "1") {
        throw xExceptionf("bitem::set_value : недопустимое значение : %s", bit);
    }
    auto const value = static_cast<unsigned int>(std::stoul(current));
    auto const place = static_cast<unsigned int>(offset);
    unsigned int const mask = place < value_bits ? 1U << place : 0U;
    return std::to_string(bit == "1" ? value | mask : value & ~mask);
}

std::string bitem::control_name() const {
    return param->name + "_" + name;
}

bhold::bhold(CParam* bit_param, Json::Value const& node) : param(bit_param) {
    if (param == nullptr) {
        throw xException("bhold.ctor : не указан параметр 'config_param'");
    }
    if (node.empty()) {
        throw xException("bhold.ctor : параметр 'node' пуст");
    }
    if (!jUtils::has(node, "bh_list")) {
        throw xException("bhold.ctor : параметр 'node' не содержит объекта 'bh_list'");
    }
    Json::Value const& list = node["bh_list"];
    if (!list.isArray() || list.empty()) {
        throw xException("bhold.ctor : объект 'bh_list' пуст или не массив");
    }
    for (Json::Value const& element : list) {
        items.emplace_back(param, element, max_offset_of(param->value_type));
    }
}

void bhold::publish(DevBase* dev, BaseResult const& result) const {
    auto const value = static_cast<unsigned int>(std::stoul(result.result));
    for (bitem const& item : items) {
        dev->port->mq_publish(xCommon::xString::Format(topic_value, dev->get_device_name(), item.control_name()),
                              item.get_value(value), 2, true);
    }
}

}  // namespace bholding
