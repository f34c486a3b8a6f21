#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

#include "config/config.h"
#include "config/cport.h"
#include "ctl/simulate/far_end.h"
#include "ctl/simulate/made_folders.h"

namespace sim {

class SnmpAgent;
class ZigbeeEnd;

/// What a simulation is told beside the configuration.
struct Settings {
    double fault_rate = 0;
    std::string broker_host;  ///< of Zigbee bridges
    int broker_port = 0;
};

/// A port of the configuration and where its far end is.
struct ServedPort {
    std::string name;
    std::string place;
    bool is_elsewhere;  ///< than the configuration says
    std::vector<std::string> devices;
};

/// The far ends of all ports of a configuration, at the places that it names where these are free. Links, listeners and
/// folders go with it.
class Simulation {
 public:
    /// Takes the plain shape. What can't be served costs a note and itself. Raises std::runtime_error for a file
    /// without a list of ports.
    Simulation(Json::Value const& config, Settings const& settings);
    ~Simulation();
    Simulation(Simulation const&) = delete;
    Simulation& operator=(Simulation const&) = delete;

    std::vector<ServedPort> const& ports() const { return ports_; }
    std::vector<std::string> const& notes() const { return notes_; }
    /// The configuration with the places of this simulation in it.
    Json::Value const& redirected() const { return redirected_; }

    /// Serves until the descriptor becomes readable, or for so long.
    void run(int end_signals, std::optional<std::chrono::seconds> span);

 private:
    struct Line {
        explicit Line(Faults& faults) : devices(faults) {}
        Devices devices;
        std::string place;  ///< link, or port number
        bool is_elsewhere = false;
    };
    using Lines = std::map<std::string, Line>;

    void take(CPort& port, Json::Value& json);
    void take_serial(CPort& port, Json::Value& json);
    void take_tcp(CPort& port, Json::Value& json);
    void take_agents(CPort& port, Json::Value& json);
    void take_bridge(CPort& port);
    ServedPort served(CPort const& port, std::string const& place, bool is_elsewhere) const;
    Line& serial_line(std::string const& path);
    Line& tcp_line(std::string const& host, int port);
    SnmpAgent& agent(std::string const& url);
    void add(Line& line, CBase& node);

    Settings settings_;
    Faults faults_;
    Json::Value redirected_;
    std::vector<std::unique_ptr<Config>> trees_;
    std::vector<ServedPort> ports_;
    std::vector<std::string> notes_;
    Lines serial_lines_;
    Lines tcp_lines_;
    MadeFolders folders_;
    std::map<std::string, SnmpAgent*> agents_;
    std::vector<std::unique_ptr<FarEnd>> ends_;
};

}  // namespace sim
