#pragma once

#include <string>

#include "drivers/modbus/config.h"

/// VKT-7 heat calculators: frames in the shape of Modbus RTU, a dialogue of nine requests for each value.
namespace vkt7rtu {

/// The key `reg_type`. Only the two bit kinds make a difference; the frames know none of them.
enum RegType : int {
    reg_coil = 0,
    reg_status = 1,
    reg_input = 2,
    reg_holding = 3,
    reg_holding_m = 4,
    reg_holding_bit = 5,
    reg_input_bit = 6
};

/// Configuration of a calculator, type word "vkt7-rtu": that of a Modbus slave, down to the type word of its
/// parameters. One without a `type` of its own becomes a Modbus parameter, and is a plain register here.
class c_dev : public modbus::c_dev, public FromJson<c_dev> {
 public:
    /// Raises what modbus::c_dev raises.
    // Configurations and templates in use leave the type of plain registers out, and so make them of this one.
    c_dev(CBase* port_node, Json::Value& node) : modbus::c_dev(port_node, node, "mb-rtu") {}

    /// The last one that the calculator told.
    unsigned char server_version = 0;
};

/// Configuration of a parameter, type word "vkt7-rtu".
class c_param : public modbus::c_register, public FromJson<c_param> {
 public:
    /// Raises what c_register raises.
    c_param(CBase* device, Json::Value& node);

    /// Code of the key `reg_type`.
    static int GetRegType(Json::Value const& node);
};

}  // namespace vkt7rtu
