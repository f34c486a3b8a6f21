#include "drivers/mbrtu/config.h"

#include "config/constants.h"

namespace mbrtu {

namespace {

const std::string type_word = "mb-rtu";

CBFac const registrars[] = {CBFac::add<c_dev>("mb-rtu.cdev"), CBFac::add<c_param>("mb-rtu.cparam")};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : modbus::c_dev(port_node, node, type_word) {}

}  // namespace mbrtu
