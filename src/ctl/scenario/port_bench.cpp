#include "ctl/scenario/port_bench.h"

#include <algorithm>

#include "app/normalise.h"
#include "config/constants.h"

namespace {

/// What is the same on every bench needn't be written: nothing is opened.
Json::Value with_lines(Json::Value config, Scenario const& scenario) {
    for (Json::Value& port : config["ports"]) {
        if (!port.isObject() || !port["name"].isString() || !scenario.wires.contains(port["name"].asString())) {
            continue;
        }
        bool const is_tcp = port["type"].asString().find("tcp") != std::string::npos;
        Json::Value& line = port[is_tcp ? "tcp" : "rs"];
        if (line.isNull()) {
            line = json_of(is_tcp ? R"({"url": "127.0.0.1", "port": 502})" : R"({"path": "/dev/null"})");
        }
    }
    return config;
}

}  // namespace

PortBench::PortBench(Scenario const& scenario) : scenario_(scenario) {
    Json::Value root =
        normalise(scenario.config["ports"].isArray() ? with_lines(scenario.config, scenario) : scenario.config).config;
    config_.reset(Config::Load(root));
    if (!config_) {
        return;
    }
    for (auto const& node : config_->ports.children) {
        if (node->enabled && IBFac::stone_map().contains(node->type + suffix_port) && start(*node) == nullptr) {
            lines_.erase(node->name);  // it has gone with its port
        }
    }
}

void PortBench::pass() {
    for (auto const& port : ports_) {
        port->pass();
    }
}

int PortBench::longest_interval() const {
    int longest = 0;
    for (auto const& port : ports_) {
        for (auto const& device : port->cport->children) {
            for (auto const& param : device->children) {
                longest = std::max(longest, param->poll_interval);
            }
        }
    }
    return longest;
}

std::unique_ptr<iTran> PortBench::make_line(CPort& node) {
    auto line = std::make_unique<ScriptLine>(&node);
    scenario_.write(node.name, line->script);
    lines_[node.name] = line.get();
    return line;
}
