#pragma once

#include "drivers/modbus/config.h"

/// Modbus RTU: slaves on a serial line, or behind a converter that passes RTU frames through TCP.
namespace mbrtu {

/// Configuration of a slave, type word "mb-rtu".
class c_dev : public modbus::c_dev, public FromJson<c_dev> {
 public:
    c_dev(CBase* port_node, Json::Value& node) : modbus::c_dev(port_node, node, "mb-rtu") {}
};

/// Configuration of a parameter, type word "mb-rtu".
class c_param : public modbus::c_param, public FromJson<c_param> {
 public:
    using modbus::c_param::c_param;
};

}  // namespace mbrtu
