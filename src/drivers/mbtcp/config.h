#pragma once

#include "drivers/modbus/config.h"

/// Modbus TCP: slaves with an address of their own, and units behind a gateway.
namespace mbtcp {

/// Configuration of a slave, type word "mb-tcp".
class c_dev : public modbus::c_dev, public FromJson<c_dev> {
 public:
    c_dev(CBase* port_node, Json::Value& node) : modbus::c_dev(port_node, node, "mb-tcp") {}
};

/// Configuration of a parameter, type word "mb-tcp".
class c_param : public modbus::c_param, public FromJson<c_param> {
 public:
    using modbus::c_param::c_param;
};

}  // namespace mbtcp
