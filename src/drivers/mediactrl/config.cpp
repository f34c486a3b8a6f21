#include "drivers/mediactrl/config.h"

#include "config/constants.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace mediactrl {

using xCommon::jUtils;
using xCommon::xExceptionf;

namespace {

const std::string type_word = "media_ctrl";

CBFac const registrars[] = {{type_word + suffix_cdev, c_dev::create}, {type_word + suffix_cparam, c_param::create}};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : CDev(port_node, node), port(port_node) {
    if (port == nullptr) {
        throw xExceptionf("#%s : ctor : не указан порт.", name);
    }
    if (!jUtils::has(node, "sid")) {
        throw xExceptionf("#%s : ctor : не указан аргумент 'sid'.", name);
    }
    load_params(node, type_word);
}

CBase* c_dev::create(CBase* parent, Json::Value& node) {
    return new c_dev(parent, node);
}

CBase* c_param::create(CBase* parent, Json::Value& node) {
    return new c_param(parent, node);
}

}  // namespace mediactrl
