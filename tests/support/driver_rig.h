#pragma once

#include <memory>
#include <string>
#include <vector>

#include "config/config.h"
#include "ctl/line/peer_script.h"
#include "runtime/port_base.h"
#include "transport/no_line_tran.h"

/// A line whose other end is a script, without a descriptor and without time: what the script answers can be read at
/// once, and a read gets what is there.
class ScriptTran : public NoLineTran {
 public:
    using NoLineTran::NoLineTran;

    int read(unsigned char* buffer, int count) override;
    using iTran::write;
    int write(unsigned char* buffer, int count) override;
    using iTran::write_all;
    bool write_all(unsigned char* buffer, int count) override { return write(buffer, count) == count; }
    void flush_in() override { pending_.clear(); }
    void set_timeout(int rto, int sto) override { timeouts.push_back(std::to_string(rto) + " " + std::to_string(sto)); }

    PeerScript script;
    std::vector<std::string> sent;  ///< the frames written
    bool writes_fail = false;
    bool writes_raise = false;
    bool reads_raise = false;
    /// What set_timeout() was called with: "rto sto".
    std::vector<std::string> timeouts;

 private:
    hex::Bytes pending_;
};

/// One device of a driver on a port without a broker, whose line is a script.
class DriverRig {
 public:
    /// `device` is its JSON text, `port_keys` stand in its port, with a comma ahead. Raises what the loading raises.
    explicit DriverRig(std::string const& device, std::string const& port_keys = "");

    template <typename Device>
    Device& dev() {
        return dynamic_cast<Device&>(*port().devices.at(0));
    }
    template <typename Param>
    Param& param(size_t index = 0) {
        return dynamic_cast<Param&>(*port().devices.at(0)->cfg->children.at(index));
    }
    PortBase& port() { return *port_; }
    ScriptTran& line() { return *line_; }
    /// What was published since the last call: "name=value", or "name!" for an error.
    std::vector<std::string> published();

 private:
    class Port;

    std::unique_ptr<Config> config_;
    std::unique_ptr<PortBase> port_;
    ScriptTran* line_;
    std::vector<std::string> published_;
};
