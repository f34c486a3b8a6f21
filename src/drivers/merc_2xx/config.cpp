#include "drivers/merc_2xx/config.h"

#include <cmath>

#include "config/constants.h"
#include "config/keys.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace merc_2xx {

using xCommon::jUtils;
using xCommon::xExceptionf;

namespace {

/// In the order of their codes.
constexpr char const* reg_types[] = {"array12", "array16", "param"};

void read_reg_type(xCommon::LogItem& node, Json::Value const& json, keys::Key const& key) {
    std::string const word = jUtils::get_string(json, key.name, "");
    int const place = keys::place_of(word, reg_types);
    if (place < 0) {
        throw xExceptionf("%s : указан недопустимый атрибут 'reg_type' = %s.", node.name, word);
    }
    keys::member<&c_param::reg_type>(node) = place;
}

using keys::Overlay;
using keys::Type;

constexpr keys::Key kind_table[] = {
    {"reg_type", keys::Value(Type::text, read_reg_type), "", "kind of request", "вид запроса", Overlay::taken,
     "%s : не указан атрибут 'reg_type'.", "", reg_types},
};
constexpr keys::Key value_table[] = {
    {"arr_num", keys::of<&c_param::arr_num>, "0", "number of the array of energies", "номер массива энергий",
     Overlay::taken, nullptr, "", keys::any_text, 0, 13},
    {"month", keys::of<&c_param::month>, "1", "month, for arrays by month", "месяц, для помесячных массивов",
     Overlay::taken, nullptr, "", keys::any_text, 0, 12},
    {"tarif", keys::of<&c_param::tarif>, "1", "tariff, 1 to 4; 0: the sum", "тариф, от 1 до 4; 0: сумма",
     Overlay::taken, nullptr, "", keys::any_text, 0, 4},
    {"offset", keys::of<&c_param::offset>, "0", "which energy of the answer: 0, 4, 8, and 12 for `array16`",
     "какая энергия из ответа: 0, 4, 8, для `array16` и 12", Overlay::taken, nullptr, "", keys::any_text, 0, 12, 4},
    {"bwri", keys::code<&c_param::bwri>, "0", "number of the instantaneous value", "номер мгновенного значения",
     Overlay::taken},
};

/// An overlay isn't checked so.
void check_limits(std::string const& name, Json::Value const& node) {
    for (keys::Key const& key : value_table) {
        if (key.value.type != Type::integer) {
            continue;
        }
        int const value = jUtils::get_int(node, key.name, 0);
        if (value < key.least || value > key.most || (key.step > 0 && std::fmod(value, key.step) != 0)) {
            throw xExceptionf("%s : недопустимое значение атрибута '%s'.", name, key.name);
        }
    }
}

[[maybe_unused]] bool const registered = [] {
    for (std::string const& word : model_words) {
        CBFac::add<c_dev>(word + suffix_cdev);
        CBFac::add<c_param>(word + suffix_cparam, kind_table, value_table);
    }
    return true;
}();

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : CAddressDev(port_node, node) {
    load_params(node, type);
}

c_param::c_param(CBase* device, Json::Value& node) : CParam(device, node) {
    keys::read(kind_table, *this, node);
    check_limits(name, node);
    keys::read(value_table, *this, node);
}

void c_param::Compare(Json::Value& node) {
    if (!node.empty()) {
        keys::lay_over(kind_table, *this, node);
        keys::lay_over(value_table, *this, node);
        CParam::Compare(node);
    }
}

}  // namespace merc_2xx
