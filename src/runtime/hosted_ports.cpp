#include "runtime/hosted_ports.h"

#include <algorithm>
#include <set>

#include "config/constants.h"
#include "foundation/xlog.h"

class RecordingClient : public xMQ::mqClient {
 public:
    RecordingClient(xCommon::SyncVector& queue, std::string const& identity, HostedPorts& host,
                    std::vector<RecordingClient*>& all)
        : mqClient(true, &queue, identity, 60), queue_(queue), host_(host), all_(all) {
        all_.push_back(this);
    }
    ~RecordingClient() override { std::erase(all_, this); }

    bool connect(std::string const& /*host*/, int /*port*/, bool /*quiet*/) override {
        connected = true;
        queue_.Push(std::make_unique<xCommon::svMessage>(xCommon::svMessage::connected));
        return true;
    }
    void disconnect() override { connected = false; }
    bool publish(std::string const& topic, std::string const& payload, int qos, bool retain) override {
        host_.published.push_back({topic, payload, qos, retain});
        host_.on_publish();
        return true;
    }
    bool subscribe(std::vector<xMQ::subsItem> const& items) override {
        for (xMQ::subsItem const& item : items) {
            topics_.insert(item.topic);
        }
        return true;
    }
    bool has(std::string const& topic) const { return topics_.contains(topic); }
    bool take(std::string const& topic, std::string const& payload) {
        if (!has(topic)) {
            return false;
        }
        queue_.Push(std::make_unique<xMQ::mqMessage>(topic, payload));
        return true;
    }

 private:
    xCommon::SyncVector& queue_;
    HostedPorts& host_;
    std::vector<RecordingClient*>& all_;
    std::set<std::string> topics_;
};

HostedPorts::~HostedPorts() {
    ports_.clear();  // they use the list of clients
}

PortBase* HostedPorts::make(CBase& node) {
    try {
        auto const creator = IBFac::stone_map().find(node.type + suffix_port);
        std::unique_ptr<IBase> object;
        if (creator != IBFac::stone_map().end()) {
            object = creator->second(this, &node);
        }
        if (auto* const port = dynamic_cast<PortBase*>(object.get())) {
            static_cast<void>(object.release());
            return ports_.emplace_back(port).get();
        }
        xCommon::global_logf(xCommon::lmtError, "--- start : %s : %s : не зарегистрирован класс", node.name, node.type);
    } catch (std::exception const& e) {
        xCommon::global_logf(xCommon::lmtError, "--- start : %s : исключение при запуске порта : %s.", node.name,
                             e.what());
    }
    return nullptr;
}

PortBase* HostedPorts::start(CBase& node) {
    PortBase* const port = make(node);
    if (port == nullptr || port->Start()) {
        return port;
    }
    ports_.pop_back();
    return nullptr;
}

bool HostedPorts::message(std::string const& topic, std::string const& payload) {
    return std::any_of(clients_.begin(), clients_.end(),
                       [&](RecordingClient* client) { return client->take(topic, payload); });
}

bool HostedPorts::is_subscribed(std::string const& topic) const {
    return std::any_of(clients_.begin(), clients_.end(),
                       [&](RecordingClient const* client) { return client->has(topic); });
}

std::unique_ptr<xMQ::mqClient> HostedPorts::make_client(xCommon::SyncVector& queue, std::string const& identity) {
    return std::make_unique<RecordingClient>(queue, identity, *this, clients_);
}
