#include "ctl/scenario/port_bench.h"

#include <algorithm>

#include "app/normalise.h"
#include "config/constants.h"

PortBench::PortBench(Scenario const& scenario) : scenario_(scenario) {
    Json::Value root = normalise(scenario.whole_config()).config;
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
