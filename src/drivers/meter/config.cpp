#include "drivers/meter/config.h"

#include "config/utils.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace meter {

using xCommon::jUtils;
using xCommon::xExceptionf;

c_dev::c_dev(CBase* port_node, Json::Value& node, std::string const& error_head)
    : CDev(port_node, node), port(port_node) {
    if (port == nullptr) {
        throw xExceptionf(error_head + " : не указан порт.", name);
    }
    if (!jUtils::has(node, "sid")) {
        throw xExceptionf(error_head + " : не указан аргумент 'sid'.", name);
    }
    sid = Utils::jToInt(node["sid"]);
    name = xCommon::xString::Format("%s_%d", name, sid);
}

}  // namespace meter
