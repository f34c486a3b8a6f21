#include "ctl/simulate/simulation.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "ctl/language/phrase.h"
#include "ctl/simulate/snmp_agent.h"
#include "ctl/simulate/zigbee_bridge.h"
#include "drivers/xsnmp/config.h"
#include "drivers/z2t_tasmota/config.h"
#include "foundation/jutils.h"
#include "foundation/xstring.h"

namespace fs = std::filesystem;

namespace sim {

namespace {

using xCommon::jUtils;
using xCommon::xString;

constexpr char loopback[] = "127.0.0.1";
constexpr int usual_agent_port = 161;

bool is_loopback(std::string const& host) {
    return host == "localhost" || host == "::1" || host.starts_with("127.");
}

/// Nothing that is in use: a link whose end is gone was left by somebody who couldn't take it away. The kernel's own
/// folder is never free: an adapter may be plugged in there any time, and a daemon that waits for it would take the
/// simulation for the plant.
bool is_free(fs::path const& path) {
    std::error_code ignored;
    return !path.empty() && !fs::absolute(path).lexically_normal().string().starts_with("/dev/") &&
           !fs::exists(path, ignored);
}

/// Host and port of "[transport:]host[:port]", for UDP; another transport has no such place.
std::pair<std::string, int> agent_place(std::string const& url) {
    std::vector<std::string> pieces = xString::Split(url, ":");
    constexpr char const* others[] = {"tcp", "udp6", "tcp6", "udpv6", "tcpv6", "unix", "dtlsudp", "tlstcp", "ssh"};
    if (pieces.empty() || std::find(std::begin(others), std::end(others), pieces[0]) != std::end(others)) {
        return {"", 0};
    }
    if (pieces[0] == "udp") {
        pieces.erase(pieces.begin());
    }
    if (pieces.empty()) {
        return {"", 0};
    }
    int const port = pieces.size() > 1 ? std::atoi(pieces[1].c_str()) : usual_agent_port;
    return {pieces[0], port > 0 && port < 65536 ? port : usual_agent_port};
}

/// Each object of a list under a key.
template <typename Action>
void for_each_object(Json::Value& node, char const* key, Action action) {
    if (node.isMember(key) && node[key].isArray()) {
        for (Json::Value& element : node[key]) {
            if (element.isObject()) {
                action(element);
            }
        }
    }
}

}  // namespace

Simulation::~Simulation() = default;

Simulation::Simulation(Json::Value const& config, Settings const& settings)
    : settings_(settings), faults_(settings.fault_rate), redirected_(config) {
    if (!redirected_["ports"].isArray()) {
        throw std::runtime_error(say("the file has no ports"));
    }
    for (Json::Value& json : redirected_["ports"]) {
        // Each by itself, so that node and element belong together whatever was left out.
        Json::Value single = config;
        single["ports"] = Json::Value(Json::arrayValue);
        single["ports"].append(json);
        std::unique_ptr<Config> tree(Config::Load(single));
        auto* const port =
            tree && !tree->ports.children.empty() ? dynamic_cast<CPort*>(tree->ports.children.front().get()) : nullptr;
        if (port == nullptr) {
            notes_.push_back(say("port %s can't be loaded: ostrandctl check tells why",
                                 json.isObject() ? jUtils::at(json, "name").toStyledString() : std::string("?")));
            continue;
        }
        trees_.push_back(std::move(tree));
        take(*port, json);
    }
}

void Simulation::take(CPort& port, Json::Value& json) {
    if (port.type_has("rs")) {
        take_serial(port, json);
    } else if (port.type_has("tcp")) {
        take_tcp(port, json);
    } else if (port.type_has("z2t")) {
        take_bridge(port);
    } else if (dynamic_cast<xsnmp::csport*>(&port) != nullptr) {
        take_agents(port, json);
    } else {
        notes_.push_back(say("port %s has no line: nothing to serve", port.name));
    }
}

ServedPort Simulation::served(CPort const& port, std::string const& place, bool is_elsewhere) const {
    ServedPort result{port.name, place, is_elsewhere, {}};
    for (auto const& device : port.children) {
        result.devices.push_back(xString::Format("%s (%s)", device->name, device->type));
    }
    return result;
}

void Simulation::add(Line& line, CBase& node) {
    auto* const device = dynamic_cast<CDev*>(&node);
    if (device == nullptr || !line.devices.add(*device)) {
        notes_.push_back(say("device %s (%s) isn't simulated", node.name, node.type));
    }
}

Simulation::Line& Simulation::serial_line(std::string const& path) {
    auto const [found, is_new] = serial_lines_.try_emplace(path, faults_);
    Line& line = found->second;
    if (!is_new) {
        return line;
    }
    if (is_free(path)) {
        try {
            folders_.make(fs::absolute(path).parent_path());
            ends_.push_back(std::make_unique<SerialEnd>(path, line.devices));
            line.place = path;
            return line;
        } catch (std::system_error const&) {
            line.is_elsewhere = true;  // not our folder: one of our own will do
        }
    }
    line.is_elsewhere = true;
    fs::path link = folders_.temporary() / fs::path(path).filename();
    for (int number = 2; !is_free(link); ++number) {
        link = folders_.temporary() / xString::Format("%s-%d", fs::path(path).filename().string(), number);
    }
    ends_.push_back(std::make_unique<SerialEnd>(link.string(), line.devices));
    line.place = link.string();
    return line;
}

void Simulation::take_serial(CPort& port, Json::Value& json) {
    Line const& own = serial_line(port.rs.path);
    for (auto const& child : port.children) {
        auto const* const device = dynamic_cast<CDev const*>(child.get());
        bool const has_path = device != nullptr && device->personal_rs && !device->rs.path.empty();
        add(serial_line(has_path ? device->rs.path : port.rs.path), *child);
    }
    auto const redirect = [this](Json::Value& node) {
        std::string const path = jUtils::get_string(jUtils::at(node, "rs"), "path", "");
        auto const line = serial_lines_.find(path);
        if (!path.empty() && line != serial_lines_.end()) {
            node["rs"]["path"] = line->second.place;
        }
    };
    redirect(json);
    for_each_object(json, "devices", redirect);
    ports_.push_back(served(port, own.place, own.is_elsewhere));
}

Simulation::Line& Simulation::tcp_line(std::string const& host, int port) {
    auto const [found, is_new] = tcp_lines_.try_emplace(xString::Format("%s:%d", host, port), faults_);
    Line& line = found->second;
    if (!is_new) {
        return line;
    }
    std::unique_ptr<TcpEnd> end;
    if (is_loopback(host) && port > 0 && port < 65536) {
        try {
            end = std::make_unique<TcpEnd>(port, line.devices);
        } catch (std::system_error const&) {
            end.reset();  // somebody else's
        }
    }
    line.is_elsewhere = !end;
    if (!end) {
        end = std::make_unique<TcpEnd>(0, line.devices);
    }
    line.place = std::to_string(end->port());
    ends_.push_back(std::move(end));
    return line;
}

void Simulation::take_tcp(CPort& port, Json::Value& json) {
    Line& line = tcp_line(port.url, port.port);
    for (auto const& child : port.children) {
        add(line, *child);
    }
    Json::Value& place = jUtils::has(json, "tcp") ? json["tcp"] : json;
    place["url"] = loopback;
    place["port"] = std::stoi(line.place);
    ports_.push_back(served(port, xString::Format("%s:%s", loopback, line.place), line.is_elsewhere));
}

SnmpAgent& Simulation::agent(std::string const& url) {
    SnmpAgent*& known = agents_[url];
    if (known == nullptr) {
        auto const [host, port] = agent_place(url);
        auto made = std::make_unique<SnmpAgent>(faults_);
        if (!(is_loopback(host) && made->open(port)) && !made->open(0)) {
            throw std::runtime_error(say("no agent can listen"));
        }
        known = made.get();
        ends_.push_back(std::move(made));
    }
    return *known;
}

void Simulation::take_agents(CPort& port, Json::Value& json) {
    ServedPort result = served(port, "", false);
    for (auto const& child : port.children) {
        if (auto* const device = dynamic_cast<xsnmp::csdev*>(child.get())) {
            SnmpAgent& here = agent(device->url);
            here.add(*device);
            auto const [host, number] = agent_place(device->url);
            result.place += xString::Format("%sudp:%s:%d", result.place.empty() ? "" : " ", loopback, here.port());
            result.is_elsewhere = result.is_elsewhere || !is_loopback(host) || number != here.port();
        }
    }
    for_each_object(json, "devices", [this](Json::Value& device) {
        auto const known = agents_.find(jUtils::get_string(device, "url", ""));
        if (known != agents_.end()) {
            device["url"] = xString::Format("%s:%d", loopback, known->second->port());
        }
    });
    ports_.push_back(std::move(result));
}

void Simulation::take_bridge(CPort& port) {
    auto end = std::make_unique<ZigbeeEnd>(port.z2t_id, faults_);
    for (auto const& child : port.children) {
        if (auto* const device = dynamic_cast<z2t_tasmota::config_device_t*>(child.get())) {
            end->bridge().add(*device);
        }
    }
    std::string const host = settings_.broker_host.empty() ? port.cfg->mqtt.url : settings_.broker_host;
    int const number = settings_.broker_port > 0 ? settings_.broker_port : port.cfg->mqtt.port;
    end->connect(host, number, port.cfg->broker.access);
    ends_.push_back(std::move(end));
    ports_.push_back(served(port, say("broker %s:%d", host, number), false));
}

void Simulation::run(int end_signals, std::optional<std::chrono::seconds> span) {
    using Clock = std::chrono::steady_clock;
    auto const begun = Clock::now();
    std::vector<pollfd> awaited;
    std::vector<size_t> counts(ends_.size());
    for (;;) {
        std::chrono::milliseconds patience = FarEnd::longest_patience;
        awaited.assign(1, {end_signals, POLLIN, 0});
        for (size_t index = 0; index < ends_.size(); ++index) {
            std::vector<int> const descriptors = ends_[index]->awaited();
            counts[index] = descriptors.size();
            for (int const descriptor : descriptors) {
                awaited.push_back({descriptor, POLLIN, 0});
            }
            patience = std::min(patience, ends_[index]->patience());
        }
        if (span) {
            auto const left = std::chrono::ceil<std::chrono::milliseconds>(*span - (Clock::now() - begun));
            if (left.count() <= 0) {
                return;
            }
            patience = std::min(patience, left);
        }
        int const ready = poll(awaited.data(), awaited.size(), static_cast<int>(patience.count()));
        if (ready < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        if (ready > 0 && awaited[0].revents != 0) {
            return;
        }
        double const seconds = std::chrono::duration<double>(Clock::now() - begun).count();
        auto next = std::span<pollfd const>(awaited).subspan(1);
        for (size_t index = 0; index < ends_.size(); ++index) {
            ends_[index]->serve(next.first(counts[index]), seconds);
            next = next.subspan(counts[index]);
        }
    }
}

}  // namespace sim
