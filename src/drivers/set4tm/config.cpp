#include "drivers/set4tm/config.h"

#include "config/constants.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace set4tm {

using xCommon::jUtils;

namespace {

const std::string type_word = "set-4tm";

CBFac const registrars[] = {CBFac::add<c_dev>("set-4tm.cdev"), CBFac::add<c_param>("set-4tm.cparam")};

struct Key {
    char const* name;
    unsigned int c_param::*field;
};

constexpr Key keys[] = {{"command", &c_param::command}, {"param", &c_param::param}};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : meter::c_dev(port_node, node, "#%s : ctor") {
    password = jUtils::get_string(node, "password", password);
    load_params(node, type_word);
}

c_param::c_param(CBase* device, Json::Value& node) : CParam(device, node) {
    for (Key const& key : keys) {
        if (!jUtils::has(node, key.name)) {
            throw xCommon::xExceptionf("%s : не указан атрибут '%s'.", name, key.name);
        }
        this->*key.field = jUtils::get_uint(node, key.name, 0);
    }
}

void c_param::Compare(Json::Value& node) {
    if (node.empty()) {
        return;
    }
    for (Key const& key : keys) {
        this->*key.field = jUtils::get_uint(node, key.name, this->*key.field);
    }
    CParam::Compare(node);
}

}  // namespace set4tm
