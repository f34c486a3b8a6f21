#include "support/sample_config.h"

namespace sample {

Json::Value root(int broker_port) {
    Json::Value root = json(R"({"mqtt": {"url": "127.0.0.1"}, "log": {"is_debug": true}, "ports": []})");
    root["mqtt"]["port"] = broker_port;
    return root;
}

Json::Value rs_port(std::string const& name, std::string const& path) {
    Json::Value port = json(R"({"type": "base.rs", "rs": {"baudrate": 9600}, "devices": []})");
    port["name"] = name;
    port["rs"]["path"] = path;
    return port;
}

Json::Value tcp_port(std::string const& name, int port_number) {
    Json::Value port = json(R"({"type": "base.tcp", "tcp": {"url": "127.0.0.1"}, "devices": []})");
    port["name"] = name;
    port["tcp"]["port"] = port_number;
    return port;
}

Json::Value rtu_device(std::string const& name, int sid) {
    Json::Value device = json(R"({"type": "mb-rtu", "params": []})");
    device["name"] = name;
    device["sid"] = sid;
    return device;
}

std::string value_topic(std::string const& device, std::string const& param) {
    return "/devices/" + device + "/controls/" + param;
}

std::string error_topic(std::string const& device, std::string const& param) {
    return value_topic(device, param) + "/meta/error";
}

std::string on_topic(std::string const& device, std::string const& param) {
    return value_topic(device, param) + "/on";
}

}  // namespace sample
