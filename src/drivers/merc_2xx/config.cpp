#include "drivers/merc_2xx/config.h"

#include "config/constants.h"
#include "config/utils.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace merc_2xx {

using xCommon::jUtils;
using xCommon::xExceptionf;

namespace {

[[maybe_unused]] bool const registered = [] {
    for (std::string const& word : model_words) {
        CBFac(word + suffix_cdev, c_dev::create);
        CBFac(word + suffix_cparam, c_param::create);
    }
    return true;
}();

/// In the order of their codes.
constexpr char const* reg_types[] = {"array12", "array16", "param"};

struct Limit {
    char const* key;
    unsigned char c_param::*field;
    int most;
    int step;
};

constexpr Limit limits[] = {{"arr_num", &c_param::arr_num, 13, 1},
                            {"month", &c_param::month, 12, 1},
                            {"tarif", &c_param::tarif, 4, 1},
                            {"offset", &c_param::offset, 12, 4}};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : meter::c_dev(port_node, node, "#%s : ctor") {
    load_params(node, type);
}

c_param::c_param(CBase* device, Json::Value& node) : CParam(device, node) {
    if (!jUtils::has(node, "reg_type")) {
        throw xExceptionf("%s : не указан атрибут 'reg_type'.", name);
    }
    reg_type = GetRegType(node);
    for (Limit const& row : limits) {
        int const value = jUtils::get_int(node, row.key, this->*row.field);
        if (value < 0 || value > row.most || value % row.step != 0) {
            throw xExceptionf("%s : недопустимое значение атрибута '%s'.", name, row.key);
        }
        this->*row.field = static_cast<unsigned char>(value);
    }
    bwri = Utils::jToInt(jUtils::at(node, "bwri"));
}

int c_param::GetRegType(Json::Value const& node) const {
    std::string const word = jUtils::get_string(node, "reg_type", "");
    int code = 0;
    for (char const* text : reg_types) {
        if (word == text) {
            return code;
        }
        ++code;
    }
    throw xExceptionf("%s : указан недопустимый атрибут 'reg_type' = %s.", name, word);
}

void c_param::Compare(Json::Value& node) {
    if (node.empty()) {
        return;
    }
    if (jUtils::has(node, "reg_type")) {
        reg_type = GetRegType(node);
    }
    for (Limit const& row : limits) {
        this->*row.field = static_cast<unsigned char>(jUtils::get_int(node, row.key, this->*row.field));
    }
    if (jUtils::has(node, "bwri")) {
        bwri = Utils::jToInt(node["bwri"]);
    }
    CParam::Compare(node);
}

}  // namespace merc_2xx
