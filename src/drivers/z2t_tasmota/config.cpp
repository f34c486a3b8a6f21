#include "drivers/z2t_tasmota/config.h"

#include <algorithm>

#include "config/constants.h"
#include "config/keys.h"
#include "foundation/xexception.h"

namespace z2t_tasmota {

namespace {

const std::string type_word = "z2t";

using keys::Overlay;
using keys::Type;

constexpr keys::Key device_table[] = {
    {"sid", keys::of<&config_device_t::sid>, "", "the bridge's name for the device, exactly as its reports have it",
     "имя устройства у моста, точно как в его сообщениях", Overlay::ignored, "#%s : ctor : не указан аргумент 'sid'."},
    {"cname", keys::of<&config_device_t::cname>, "",
     "first part of the device's name in topics; `z2t_tasmota` stands for the bridge",
     "первая часть имени устройства в топиках; `z2t_tasmota` обозначает мост", Overlay::ignored,
     "#%s : ctor : не указан аргумент 'cname'."},
};

constexpr keys::Key table[] = {
    {"z2t_name", keys::of<&config_param_t::z2t_name>, "", "the member of the bridge's JSON, in reports and in commands",
     "поле в JSON моста, в сообщениях и командах", Overlay::ignored, "Отсутствует параметр z2t_name"},
};

CBFac const registrars[] = {CBFac::add<config_device_t>("z2t.cdev", device_table),
                            CBFac::add<config_param_t>("z2t.cparam", table)};

}  // namespace

config_device_t::config_device_t(CBase* port_node, Json::Value& node) : CDev(port_node, node) {
    check_port();
    keys::read(device_table, *this, node);
    tell_unusable(cname + "_" + sid);
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
    keys::read(table, *this, node);
    if (z2t_name.empty()) {
        throw xCommon::xException("Не указано имя параметра z2t_name");
    }
}

}  // namespace z2t_tasmota
