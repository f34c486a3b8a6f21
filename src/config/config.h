#pragma once

#include <functional>
#include <memory>
#include <string>

#include <json/value.h>

#include "config/broker.h"
#include "config/cbase.h"

class log_set {
 public:
    log_set() = default;
    log_set(Json::Value const& root, int default_size, bool default_debug);
    /// The log settings from the root document: `log`, else `log_maxsize`, `log_debug` and `log_quiet`, else 5 MiB
    /// and no detail.
    static log_set parse(Json::Value const& root);

    int max_size = 5;  ///< MiB
    bool is_debug = false;
    bool quiet = false;
};

/// Root of the configuration tree.
class Config : public xCommon::LogItem {
 public:
    /// Builds the tree from a normalised document. Null, with a line in the log, if it can't be built.
    static Config* Load(Json::Value& root);
    /// The same from a file; here an empty list of ports is a failure too.
    static Config* Load(std::string const& path);

    tcp_set mqtt;
    broker_set broker;
    log_set log;
    /// The children of this node are the ports, in the order of the file.
    CBase ports{"Config::Load"};

 private:
    Config() : LogItem(nullptr, "ostrand::Config") {}
    void build(Json::Value& root);
    void report_clashing_identities() const;
    static std::unique_ptr<Config> guarded(std::function<void(Config&)> const& step);
};
