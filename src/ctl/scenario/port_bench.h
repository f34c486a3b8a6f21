#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "config/config.h"
#include "ctl/scenario/scenario.h"
#include "ctl/scenario/script_line.h"
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

/// Runs the ports of a scenario's configuration on scripted lines, without threads and without a broker. Every pass is
/// asked for.
class PortBench : public PortHost {
 public:
    /// A configuration that doesn't load gives a bench without ports; the log tells why.
    explicit PortBench(Scenario const& scenario);

    /// One pass of each port.
    void pass();
    /// Of a device or parameter, in s.
    int longest_interval() const;
    /// A message from the broker; false where nobody has subscribed the topic.
    bool message(std::string const& topic, std::string const& payload);
    /// Raises std::out_of_range for a port that isn't there.
    ScriptLine& line(std::string const& port) { return *lines_.at(port); }
    std::map<std::string, ScriptLine*> const& lines() const { return lines_; }

    std::vector<Published> published;

    std::unique_ptr<iTran> make_line(CPort& node) override;
    std::unique_ptr<xMQ::mqClient> make_client(xCommon::SyncVector& queue, std::string const& identity) override;

 private:
    Scenario const& scenario_;
    std::map<std::string, ScriptLine*> lines_;
    std::vector<RecordingClient*> clients_;
    std::unique_ptr<Config> config_;
    std::vector<std::unique_ptr<PortBase>> ports_;
};
