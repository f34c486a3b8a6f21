#include "drivers/mbtcp/config.h"

#include "config/constants.h"

namespace mbtcp {

namespace {

const std::string type_word = "mb-tcp";

CBFac const registrars[] = {CBFac::add<c_dev>("mb-tcp.cdev"), CBFac::add<c_param>("mb-tcp.cparam")};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : modbus::c_dev(port_node, node, type_word) {}

}  // namespace mbtcp
