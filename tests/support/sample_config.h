#pragma once

#include <string>

#include "ctl/scenario/scenario.h"

/// The parts of a configuration that every test with a daemon needs; the test adds what it is about.
namespace sample {

inline Json::Value json(std::string const& text) {
    return json_of(text);
}
/// Broker on the loopback address, debug detail, no ports yet.
Json::Value root(int broker_port);
/// A port of type "base.rs" with 9600 baud, without devices yet.
Json::Value rs_port(std::string const& name, std::string const& path);
/// A port of type "base.tcp", without devices yet.
Json::Value tcp_port(std::string const& name, int port);
/// A device of type "mb-rtu", without parameters yet. In topics it is `name`_`sid`.
Json::Value rtu_device(std::string const& name, int sid);

/// "/devices/plc_7/controls/flow"
std::string value_topic(std::string const& device, std::string const& param);
/// "/devices/plc_7/controls/flow/meta/error"
std::string error_topic(std::string const& device, std::string const& param);
/// "/devices/plc_7/controls/flow/on"
std::string on_topic(std::string const& device, std::string const& param);

}  // namespace sample
