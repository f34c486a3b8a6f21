#pragma once

#include <memory>
#include <string>
#include <vector>

#include <json/value.h>

#include "config/config.h"
#include "discovery/discovery.h"
#include "foundation/mq_client.h"
#include "foundation/sync_vector.h"

/// What is told of the gateway as a whole, by a broker client of its own: which program with which configuration it
/// runs, and the messages by which its parameters are found. Used by the main thread.
class Gateway {
 public:
    /// Null where the configuration asks for nothing of it. `gpio` is the block of the GPIO driver, null if there is
    /// none; `path` that of the loaded file. Ahead of the ports: their objects are made idle for a moment.
    static std::unique_ptr<Gateway> make(Config const& config, Json::Value const& gpio, std::string const& path);

    /// Connects, and never waits for the broker.
    Gateway(broker_set const& broker, tcp_set const& address, std::vector<RetainedMessage> messages);
    /// Serves the connection, to be called about once a second. Doesn't wait either.
    void turn();

 private:
    void take(xCommon::svMessage& entry);
    void withdraw(xMQ::mqMessage const& message);
    void publish_some();

    std::vector<RetainedMessage> messages_;  ///< by their topics
    std::string filter_;                     ///< of all discovery messages of this gateway; empty: none
    size_t next_;                            ///< of the messages, to be published
    bool is_listening_ = true;
    xCommon::SyncVector queue_;
    xMQ::mqClient client_;
};
