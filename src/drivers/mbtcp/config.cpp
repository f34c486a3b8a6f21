#include "drivers/mbtcp/config.h"

#include "config/constants.h"

namespace mbtcp {

namespace {

const std::string type_word = "mb-tcp";

CBFac const registrars[] = {{type_word + suffix_cdev, c_dev::create}, {type_word + suffix_cparam, c_param::create}};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : modbus::c_dev(port_node, node, type_word) {}

CBase* c_dev::create(CBase* parent, Json::Value& node) {
    return new c_dev(parent, node);
}

CBase* c_param::create(CBase* parent, Json::Value& node) {
    return new c_param(parent, node);
}

}  // namespace mbtcp
