#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <set>

#include "config/cport.h"
#include "ctl/check/key_rows.h"
#include "ctl/check/warnings.h"
#include "drivers/modbus/config.h"
#include "drivers/pulsartcp/config.h"
#include "foundation/jutils.h"

using xCommon::xString;

namespace {

/// Bytes of an exchange, of drivers where they don't depend on the parameter, and exchanges for a value.
struct Dialogue {
    char const* type;  ///< begins the device's type word
    double request;
    double reply;
    double exchanges;
};
constexpr Dialogue dialogues[] = {{"mb-", 8, 7, 1},     {"dcon", 6, 12, 1},      {"merc", 6, 14, 1},
                                  {"milur", 5, 12, 1},  {"set-4tm", 6, 8, 1},    {"emera", 30, 40, 1},
                                  {"vkt7", 60, 200, 1}, {"pulsar", 14, 18, 1},   {"dlms", 40, 50, 2},
                                  {"snmp", 0, 0, 1},    {"media_ctrl", 0, 0, 0}, {"z2t", 0, 0, 0}};
/// A device takes its time, and a network too.
constexpr double turnaround_s = 0.02;
constexpr double frame_gaps = 7;  ///< characters of silence around an exchange

double bits_of_byte(xserial::xco const& rs) {
    double const parity = rs.parity == xserial::parity_t::none ? 0 : 1;
    return 1 + static_cast<double>(rs.bytesize) + parity + (rs.stopbits == xserial::stopbits_t::one ? 1 : 2);
}

double pause_of(CParam const& param) {
    if (auto const* const reg = dynamic_cast<modbus::c_register const*>(&param)) {
        return reg->poll_delay / 1000.0;
    }
    auto const* const device = dynamic_cast<pulsartcp::c_dev const*>(param.parent);
    return device == nullptr ? 0 : static_cast<double>(device->delay) / 1000.0;
}

/// How long a poll of the parameter takes, in s, when the device answers.
double time_of(CPort const& port, CDev const& device, CParam const& param) {
    auto const dialogue = std::find_if(std::begin(dialogues), std::end(dialogues),
                                       [&device](Dialogue const& row) { return device.type.starts_with(row.type); });
    if (dialogue == std::end(dialogues) || dialogue->exchanges == 0) {
        return 0;
    }
    double bytes = dialogue->request + dialogue->reply + frame_gaps;
    if (dynamic_cast<modbus::c_register const*>(&param) != nullptr) {
        bytes += 2.0 * (modbus::value_size(param.value_type).registers - 1);
    }
    xserial::xco const& rs = device.personal_rs ? device.rs : port.rs;
    double const line = port.type_has("rs") && rs.baudrate > 0 ? bytes * bits_of_byte(rs) / rs.baudrate : 0;
    return dialogue->exchanges * (line + turnaround_s) + pause_of(param);
}

class PortLook {
 public:
    explicit PortLook(WarningContext const& context) : context_(context) {}

    void look() {
        for (auto const& node : context_.loading.config->ports.children) {
            auto const* const port = dynamic_cast<CPort const*>(node.get());
            if (port != nullptr && port->enabled) {
                look_at_names(*port);
                look_at_lines(*port);
                look_at_time(*port);
            }
        }
        look_at_topics();
    }

 private:
    void look_at_names(CPort const& port) {
        for (auto const& one : port.children) {
            for (auto const& other : port.children) {
                bool const is_part =
                    one != other && one->enabled && other->enabled && other->name.find(one->name) != std::string::npos;
                // Of two that are equal the second is told.
                if (is_part && (one->name != other->name || one < other)) {
                    context_.add(
                        warn::name_part, *other, "name",
                        say("%s holds the name %s of another device of this port",
                            "\"" + xString::Shown(other->name) + "\"", "\"" + xString::Shown(one->name) + "\""));
                    return;  // one tells how to name them
                }
            }
        }
    }

    void look_at_lines(CPort const& port) {
        if (!port.type_has("rs")) {
            return;
        }
        std::set<std::string> paths{real(port.rs.path)};
        std::string settings;
        bool alternates = false;
        for (auto const& child : port.children) {
            auto const* const device = dynamic_cast<CDev const*>(child.get());
            if (device == nullptr || !device->enabled) {
                continue;
            }
            xserial::xco rs = device->personal_rs ? device->rs : port.rs;
            rs.path = rs.path.empty() ? port.rs.path : rs.path;
            if (!rs.validate()) {
                context_.add(warn::personal_line, *device, "rs", say("can't be used: the device is never asked"));
                continue;
            }
            paths.insert(real(rs.path));
            std::string const text = xString::Format("%s %d %d %d %d %d", rs.path, rs.baudrate,
                                                     static_cast<int>(rs.bytesize), static_cast<int>(rs.parity),
                                                     static_cast<int>(rs.stopbits), static_cast<int>(rs.flowcontrol));
            alternates |= !settings.empty() && settings != text;
            settings = text;
        }
        if (alternates) {
            context_.add(
                warn::alternating, port, "rs",
                say("the devices have different settings: the line is opened anew at each change, in every pass"));
        }
        for (std::string const& path : paths) {
            auto const [first, is_new] = lines_.emplace(path, port.name);
            if (!is_new) {
                context_.add(warn::same_line, port, "rs.path",
                             say("port %s uses this line too", "\"" + xString::Shown(first->second) + "\""));
            }
        }
    }

    static std::string real(std::string const& path) {
        std::error_code error;
        std::filesystem::path const found = std::filesystem::weakly_canonical(path, error);
        return error ? path : found.string();
    }

    void look_at_time(CPort const& port) {
        double whole = 0;
        double silent = 0;
        double load = 0;
        int shortest = 0;
        for (auto const& child : port.children) {
            auto const* const device = dynamic_cast<CDev const*>(child.get());
            if (device == nullptr || !device->enabled) {
                continue;
            }
            for (auto const& node : child->children) {
                auto const* const param = dynamic_cast<CParam const*>(node.get());
                bool const is_asked = param != nullptr && param->enabled;
                double const time = is_asked ? time_of(port, *device, *param) : 0;
                if (time == 0) {
                    continue;
                }
                // The whole device is read by few requests for many values.
                double const share = device->all_params ? 0.1 : 1;
                int const interval = device->all_params ? device->poll_interval : param->poll_interval;
                whole += share * time;
                silent += share * param->rto / 1000.0;
                if (interval > 0) {
                    load += share * time / interval;
                    shortest = shortest == 0 ? interval : std::min(shortest, interval);
                }
            }
        }
        if (load > 1) {
            context_.add(warn::interval, port, "",
                         say("a pass takes about %.1f s (%.0f s when no device answers), and the intervals, the "
                             "shortest of them %d s, ask for %.1f times what the line can do",
                             whole, silent, shortest, load));
        }
    }

    void look_at_topics() {
        std::map<std::string, TopicRow const*> seen;
        for (TopicRow const& row : context_.topics) {
            auto const [first, is_new] = seen.emplace(row.topic, &row);
            if (!is_new && row.node != nullptr) {
                std::string const other =
                    first->second->node == nullptr ? first->second->parameter : path_of(*first->second->node);
                context_.add(warn::same_topic, *row.node, "name", say("%s is the topic of %s too", row.topic, other));
            }
        }
    }

    std::string path_of(CBase const& node) const {
        Loading::Place const place = context_.loading.place_of(&node);
        Document const* const document = context_.loading.document(place.file);
        return document == nullptr ? node.name : document->path_to(place.offset);
    }

    WarningContext const& context_;
    std::map<std::string, std::string> lines_;  ///< path to the first port
};

}  // namespace

void look_at_ports(WarningContext const& context) {
    PortLook(context).look();
}
