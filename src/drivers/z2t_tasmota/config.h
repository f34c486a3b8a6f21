#pragma once

#include <string>

#include "config/cparam.h"
#include "config/cport.h"

/// Zigbee devices behind a bridge that runs Tasmota. There is no line: the bridge reports over the broker by itself.
namespace z2t_tasmota {

/// The `cname` of the device that stands for the bridge itself, and the first word of its name in topics.
inline const std::string bridge_cname = "z2t_tasmota";

/// Configuration of a Zigbee device, type word "z2t".
class config_device_t : public CDev, public FromJson<config_device_t> {
 public:
    /// Raises an xExceptionf for a missing port, `sid` or `cname`, and for a device without parameters, unless the port
    /// has a bridge.
    config_device_t(CBase* port_node, Json::Value& node);

    /// The bridge's name for the device.
    std::string sid;
    /// First part of the device's name in topics.
    std::string cname;
    /// The Zigbee endpoint that the device last reported from, where commands go to; -1 before any report. Written by
    /// the worker of the port alone.
    int endpoint = -1;
};

/// True when a device of the port stands for the bridge. Devices of such a port may have no parameters, and the state
/// of the bridge is published.
bool has_bridge(CBase const& port_node);

/// Configuration of one control.
class config_param_t : public CParam, public FromJson<config_param_t> {
 public:
    /// Raises an xException for a missing or empty `z2t_name`.
    config_param_t(CBase* device, Json::Value& node);

    /// Name of the member in the bridge's JSON, in reports and in commands.
    std::string z2t_name;
};

}  // namespace z2t_tasmota
