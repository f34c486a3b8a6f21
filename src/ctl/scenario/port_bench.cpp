#include "ctl/scenario/port_bench.h"

#include <algorithm>

#include "app/normalise.h"
#include "config/constants.h"
#include "foundation/xlog.h"

class RecordingClient : public xMQ::mqClient {
 public:
    RecordingClient(xCommon::SyncVector& queue, std::string const& identity, std::vector<Published>& published)
        : mqClient(true, &queue, identity, 60), queue_(queue), published_(published) {}

    bool connect(std::string const& /*host*/, int /*port*/, bool /*quiet*/) override {
        connected = true;
        queue_.Push(std::make_unique<xCommon::svMessage>(xCommon::svMessage::connected));
        return true;
    }
    void disconnect() override { connected = false; }
    bool publish(std::string const& topic, std::string const& payload, int qos, bool retain) override {
        published_.push_back({topic, payload, qos, retain});
        return true;
    }
    bool subscribe(std::vector<xMQ::subsItem> const& items) override {
        for (xMQ::subsItem const& item : items) {
            topics_.insert(item.topic);
        }
        return true;
    }
    bool take(std::string const& topic, std::string const& payload) {
        if (!topics_.contains(topic)) {
            return false;
        }
        queue_.Push(std::make_unique<xMQ::mqMessage>(topic, payload));
        return true;
    }

 private:
    xCommon::SyncVector& queue_;
    std::vector<Published>& published_;
    std::set<std::string> topics_;
};

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
        auto const creator = IBFac::stone_map().find(node->type + suffix_port);
        if (!node->enabled || creator == IBFac::stone_map().end()) {
            continue;
        }
        try {
            std::unique_ptr<IBase> port = creator->second(this, node.get());
            if (port && port->Start()) {
                ports_.emplace_back(dynamic_cast<PortBase*>(port.release()));
                continue;
            }
        } catch (std::exception const& e) {
            xCommon::global_logf(xCommon::lmtError, "--- start : %s : исключение при запуске порта : %s.", node->name,
                                 e.what());
        }
        lines_.erase(node->name);  // it has gone with its port
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

bool PortBench::message(std::string const& topic, std::string const& payload) {
    return std::any_of(clients_.begin(), clients_.end(),
                       [&](RecordingClient* client) { return client->take(topic, payload); });
}

std::unique_ptr<iTran> PortBench::make_line(CPort& node) {
    auto line = std::make_unique<ScriptLine>(&node);
    scenario_.write(node.name, line->script);
    lines_[node.name] = line.get();
    return line;
}

std::unique_ptr<xMQ::mqClient> PortBench::make_client(xCommon::SyncVector& queue, std::string const& identity) {
    auto client = std::make_unique<RecordingClient>(queue, identity, published);
    clients_.push_back(client.get());
    return client;
}
