#include "drivers/z2t_tasmota/config.h"

#include <algorithm>

#include "config/constants.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace z2t_tasmota {

using xCommon::jUtils;
using xCommon::xException;
using xCommon::xExceptionf;

namespace {

const std::string type_word = "z2t";

CBFac const registrars[] = {CBFac::add<config_device_t>("z2t.cdev"), CBFac::add<config_param_t>("z2t.cparam")};

}  // namespace

config_device_t::config_device_t(CBase* port_node, Json::Value& node) : CDev(port_node, node) {
    if (port_node == nullptr) {
        throw xExceptionf("#%s : ctor : не указан порт.", name);
    }
    if (!jUtils::has(node, "sid")) {
        throw xExceptionf("#%s : ctor : не указан аргумент 'sid'.", name);
    }
    sid = jUtils::get_string(node, "sid", "");
    if (!jUtils::has(node, "cname")) {
        throw xExceptionf("#%s : ctor : не указан аргумент 'cname'.", name);
    }
    cname = jUtils::get_string(node, "cname", "");
    // The list is still being read: the bridge counts for itself and for the devices behind it.
    if (cname == bridge_cname || has_bridge(*port_node)) {
        load_list(node, type_word);
    } else {
        load_params(node, type_word);
    }
}

bool has_bridge(CBase const& port_node) {
    return std::any_of(port_node.children.begin(), port_node.children.end(), [](auto const& child) {
        auto const* device = dynamic_cast<config_device_t const*>(child.get());
        return device != nullptr && device->cname == bridge_cname;
    });
}

config_param_t::config_param_t(CBase* device, Json::Value& node) : CParam(device, node) {
    if (!jUtils::has(node, "z2t_name")) {
        throw xException("Отсутствует параметр z2t_name");
    }
    z2t_name = jUtils::get_string(node, "z2t_name", "");
    if (z2t_name.empty()) {
        throw xException("Не указано имя параметра z2t_name");
    }
}

}  // namespace z2t_tasmota
