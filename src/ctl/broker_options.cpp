#include "ctl/broker_options.h"

#include <stdexcept>

#include <CLI/CLI.hpp>

#include "config/config.h"
#include "ctl/check/document.h"
#include "ctl/language/phrase.h"

namespace {

constexpr int last_port = 65535;

}  // namespace

void BrokerOptions::complete() {
    tcp_set const named = tcp_set::parse(config.empty() ? Json::Value(Json::objectValue) : Document(config).root());
    if (host.empty()) {
        host = named.url.empty() ? "127.0.0.1" : named.url;
    }
    if (port == 0) {
        port = named.port;
    }
    if (port <= 0 || port > last_port) {
        throw std::runtime_error(say("%s: names no usable port of a broker", config));
    }
}

std::string BrokerOptions::place() const {
    return host + ":" + std::to_string(port);
}

void add_broker_options(CLI::App& command, BrokerOptions& options) {
    command.add_option("-H,--host", options.host, say("the broker's host; otherwise 127.0.0.1"));
    command.add_option("-p,--port", options.port, say("its port; otherwise 1883"))->check(CLI::Range(1, last_port));
    command.add_option("-c,--config", options.config, say("take host and port from this configuration"));
}
