#include "ctl/broker_options.h"

#include <stdexcept>
#include <utility>

#include <CLI/CLI.hpp>

#include "config/config.h"
#include "ctl/check/document.h"
#include "ctl/language/phrase.h"
#include "foundation/jutils.h"

namespace {

constexpr int last_port = 65535;

}  // namespace

void BrokerOptions::complete() {
    Json::Value const root = config.empty() ? Json::Value(Json::objectValue) : Document(config).root();
    tcp_set const named = tcp_set::parse(root);
    xMQ::Access const told = std::exchange(access, broker_set(xCommon::jUtils::at(root, "mqtt"), nullptr).access);
    if (!told.user.empty()) {
        // Nobody else's password goes with it.
        access.user = told.user;
        access.password.clear();
        access.password_file.clear();
    }
    if (!told.password_file.empty()) {
        access.password_file = told.password_file;
    }
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
    command.add_option("-c,--config", options.config,
                       say("take the broker's place and what lets in from this configuration"));
    command.add_option("-u,--user", options.access.user, say("name by which the broker lets in"));
    command.add_option("--password-file", options.access.password_file, say("file whose first line is its password"));
}
