#include "drivers/mediactrl/config.h"

#include "config/constants.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace mediactrl {

using xCommon::jUtils;
using xCommon::xExceptionf;

namespace {

const std::string type_word = "media_ctrl";

CBFac const registrars[] = {CBFac::add<c_dev>("media_ctrl.cdev"), CBFac::add<c_param>("media_ctrl.cparam")};

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

}  // namespace mediactrl
