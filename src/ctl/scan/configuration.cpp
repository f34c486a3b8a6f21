#include <algorithm>
#include <map>

#include "ctl/scan/scan.h"

namespace scanner {

namespace {

constexpr int default_timeout_ms = 500;

Json::Value line_settings(xserial::xco const& settings) {
    constexpr char const* parities[] = {"none", "odd", "even", "mark", "space"};
    Json::Value node;
    node["baudrate"] = settings.baudrate;
    node["bytesize"] = static_cast<int>(settings.bytesize);
    node["parity"] = parities[static_cast<size_t>(settings.parity)];
    switch (settings.stopbits) {
        case xserial::stopbits_t::one_and_half:
            node["stopbits"] = 1.5;
            break;
        case xserial::stopbits_t::two:
            node["stopbits"] = 2;
            break;
        default:
            node["stopbits"] = 1;
    }
    return node;
}

/// The loader appends the address: "modbus" becomes "modbus_17". Where one of these would begin another, messages to
/// the second would find the first, so that all have as many digits ahead of it: "modbus02" becomes "modbus02_2".
std::string name_of(Found const& found, std::vector<Found> const& all) {
    std::string const own = std::to_string(found.address);
    size_t longest = own.size();
    bool has_clash = false;
    for (Found const& other : all) {
        std::string const number = std::to_string(other.address);
        if (other.protocol == found.protocol) {
            longest = std::max(longest, number.size());
            has_clash = has_clash || (number != own && (number.starts_with(own) || own.starts_with(number)));
        }
    }
    return found.protocol + (has_clash ? std::string(longest - own.size(), '0') + own : "");
}

}  // namespace

Json::Value configuration_of(ScanOptions const& options, std::vector<Found> const& found) {
    Json::Value port;
    port["name"] = "line1";
    port["poll_interval"] = 10;
    port["rto"] = std::max(options.timeout_ms, default_timeout_ms);
    bool const is_serial = options.tcp.empty();
    if (is_serial) {
        port["type"] = "base.rs";
        port["rs"] = line_settings(found.at(0).settings);
        port["rs"]["path"] = options.tty;
    } else {
        HostPort const peer(options.tcp);
        port["type"] = "base.tcp";
        port["tcp"]["url"] = peer.host;
        port["tcp"]["port"] = peer.port;
    }
    for (Found const& entry : found) {
        Json::Value node = entry.device.node;
        node["name"] = name_of(entry, found);
        if (is_serial && !entry.settings.compare(found.at(0).settings)) {
            node["rs"] = line_settings(entry.settings);
        }
        port["devices"].append(node);
    }
    Json::Value root;
    root["mqtt"]["url"] = "127.0.0.1";
    root["mqtt"]["port"] = 1883;
    root["ports"].append(port);
    return root;
}

}  // namespace scanner
