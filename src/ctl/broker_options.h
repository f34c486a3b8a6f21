#pragma once

#include <string>

#include "foundation/mq_access.h"

namespace CLI {
class App;
}

/// Where the broker is.
struct BrokerOptions {
    std::string host = {};    ///< empty: as the configuration says, or 127.0.0.1
    int port = 0;             ///< 0: likewise, or 1883
    std::string config = {};  ///< a configuration that names the broker; empty for none
    /// As the configuration says, but for what was told.
    xMQ::Access access = {};

    /// Fills in what wasn't told. Raises an exception with the reason when the configuration names no usable broker.
    void complete();
    /// "127.0.0.1:1883"
    std::string place() const;
};

/// Enters --host, --port and -c. The options have to live as long as the command.
void add_broker_options(CLI::App& command, BrokerOptions& options);
