#pragma once

#include <optional>
#include <string>

#include <json/value.h>

#include "foundation/mq_access.h"
#include "foundation/xlog.h"

/// Host and port of a TCP peer or of the broker.
class tcp_set {
 public:
    tcp_set() = default;
    /// From the keys `url` and `port`. Raises an xException for an empty node.
    tcp_set(Json::Value const& node, std::string const& default_url, int default_port);
    /// The broker's address from the root document: `mqtt`, else `mqtt_url` and `mqtt_port`, else 127.0.0.1:1883.
    static tcp_set parse(Json::Value const& root);

    std::string url;
    int port = -1;
};

/// Messages by which a building automation system finds the parameters.
struct discovery_set {
    std::string prefix = "homeassistant";
    std::string node;  ///< the gateway's name, one level of a topic
};

/// The optional keys of `mqtt`: how the broker lets in, and what is told there beside the values. One that can't be
/// used costs itself and a line in the log, which doesn't show its value.
class broker_set {
 public:
    broker_set() = default;
    /// From the `mqtt` object, if there is one. `teller` gets the lines; null where somebody else tells them.
    broker_set(Json::Value const& mqtt, xCommon::LogItem const* teller);

    xMQ::Access access;
    /// Head of the topics that tell who is present; empty: nothing is told.
    std::string status_topic;
    bool availability = false;
    bool age = false;
    std::optional<discovery_set> discovery;

    /// A client has to be made with it.
    bool concerns_client() const { return access.is_used() || access.mqtt_5 || !status_topic.empty(); }
    /// Topics of a port's presence and of its line's; empty without `status_topic`, and for a name that no topic can
    /// have.
    std::string state_topic(std::string const& port) const;
    std::string line_topic(std::string const& port) const;

 private:
    class KeyReader;
    void read_access(KeyReader const& reader);
    void read_tls(KeyReader const& reader);
    void read_status_topic(KeyReader const& reader);
    void read_discovery(KeyReader const& reader);
};
