#pragma once

#include <map>
#include <memory>
#include <string>

#include "config/config.h"
#include "ctl/scenario/scenario.h"
#include "ctl/scenario/script_line.h"
#include "runtime/hosted_ports.h"

/// Runs the ports of a scenario's configuration on scripted lines, without threads and without a broker. Every pass is
/// asked for.
class PortBench : public HostedPorts {
 public:
    /// A configuration that doesn't load gives a bench without ports; the log tells why.
    explicit PortBench(Scenario const& scenario);
    ~PortBench() override { ports_.clear(); }

    /// One pass of each port.
    void pass();
    /// Of a device or parameter, in s.
    int longest_interval() const;
    /// Raises std::out_of_range for a port that isn't there.
    ScriptLine& line(std::string const& port) { return *lines_.at(port); }
    std::map<std::string, ScriptLine*> const& lines() const { return lines_; }

    std::unique_ptr<iTran> make_line(CPort& node) override;

 private:
    Scenario const& scenario_;
    std::unique_ptr<Config> config_;
    std::map<std::string, ScriptLine*> lines_;
};
