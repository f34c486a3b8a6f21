#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "config/config.h"
#include "runtime/port_base.h"
#include "runtime/port_host.h"

/// A message as a port published it.
struct Published {
    std::string topic;
    std::string payload;
    int qos;
    bool retained;
    bool is_expected = false;
};

/// A broker client that keeps what is published, and a connection that stands from the first moment on.
class RecordingClient;

/// Runs ports of a configuration without threads and without a broker, on lines that whoever derives from it makes.
class HostedPorts : public PortHost {
 public:
    ~HostedPorts() override;
    /// Makes a port, and starts it. Null for one that can't; the log tells why. The node outlives this object.
    PortBase* make(CBase& node);
    PortBase* start(CBase& node);
    /// A message from the broker; false where nobody has subscribed the topic.
    bool message(std::string const& topic, std::string const& payload);
    bool is_subscribed(std::string const& topic) const;
    bool needs_identities() const override { return false; }
    std::unique_ptr<xMQ::mqClient> make_client(xCommon::SyncVector& queue, std::string const& identity) override;

    std::vector<Published> published;
    /// Behind each that is published.
    std::function<void()> on_publish = [] {};

 protected:
    std::vector<std::unique_ptr<PortBase>> ports_;

 private:
    std::vector<RecordingClient*> clients_;
};
