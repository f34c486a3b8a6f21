#pragma once

#include <memory>
#include <string>
#include <vector>

#include "config/cport.h"
#include "foundation/mq_client.h"
#include "foundation/sync_vector.h"

class PortHost;

/// A client's identity at the broker: the name, "#" and a random part. mqClient cuts it to what MQTT 3.1 allows, so a
/// long name leaves little of that part.
std::string random_identity(std::string const& name);

/// The port's connection to the broker, and the queue of what comes from there.
class PortClient {
 public:
    /// `host` may be null: see PortHost.
    PortClient(CPort& node, PortHost* host) : node_(node), host_(host) {}

    bool mq_start();
    void mq_stop();
    bool mq_restart();
    bool mq_connect();
    void mq_disconnect();
    /// False, without a word, while there is no connection.
    bool mq_publish(std::string const& topic, std::string const& payload, int qos, bool retain);
    bool mq_subscribe(std::vector<xMQ::subsItem> const& items);
    void mq_unsubscribe();
    /// The next queue entry, or null, without waiting.
    std::unique_ptr<xCommon::svMessage> mq_pop();
    bool is_connected() const { return mq && mq->get_bool(mq->connected); }

    std::unique_ptr<xCommon::SyncVector> queue;

 protected:
    std::unique_ptr<xMQ::mqClient> mq;
    bool mq_clean = true;
    int mq_keepalive = 60;  ///< s

 private:
    CPort& node_;
    PortHost* host_;
};
