#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include "config/cport.h"
#include "ctl/check/line_time.h"
#include "ctl/check/warnings.h"

using xCommon::xString;

namespace {

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
                if (one == other || !one->enabled || !other->enabled) {
                    continue;
                }
                std::string const& part = context_.names.at(one.get());
                std::string const& whole = context_.names.at(other.get());
                // Of two that are equal the second is told.
                if (whole.find(part) != std::string::npos && (part != whole || is_ahead(port, *one, *other))) {
                    std::string const shown = "\"" + xString::Shown(whole) + "\"";
                    context_.add(warn::name_part, *other, "name",
                                 part == whole ? say("%s is the name of another device of this port too", shown)
                                               : say("%s holds the name %s of another device of this port", shown,
                                                     "\"" + xString::Shown(part) + "\""));
                    return;  // one tells how to name them
                }
            }
        }
    }

    static bool is_ahead(CPort const& port, CBase const& one, CBase const& other) {
        for (auto const& child : port.children) {
            if (child.get() == &one || child.get() == &other) {
                return child.get() == &one;
            }
        }
        return false;
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
                Finding finding = explain_line(context_.loading, context_.loading.place_of(device));
                finding.text = say("%s: the device is never asked", finding.text);
                context_.add(warn::personal_line, std::move(finding));
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
        LineTime time;
        for (auto const& child : port.children) {
            auto const* const device = dynamic_cast<CDev const*>(child.get());
            if (device != nullptr && device->enabled) {
                time += line_time(port, *device);
            }
        }
        if (time.load > 1) {
            context_.add(warn::interval, port, "",
                         say("a pass takes about %.1f s (%.0f s when no device answers), and the intervals, the "
                             "shortest of them %d s, ask for %.1f times what the line can do",
                             time.pass_s, time.silent_s, time.shortest, time.load));
        }
    }

    /// Devices that share topics share many: the first of each two devices is told.
    void look_at_topics() {
        struct Pair {
            TopicRow const* row;
            TopicRow const* first;
            int count;
        };
        std::map<std::string, TopicRow const*> seen;
        std::map<std::pair<CBase const*, CBase const*>, Pair> pairs;
        for (TopicRow const& row : context_.topics) {
            auto const [first, is_new] = seen.emplace(row.topic, &row);
            if (!is_new) {
                auto const devices = std::pair(device_of(row), device_of(*first->second));
                ++pairs.try_emplace(devices, Pair{&row, first->second, 0}).first->second.count;
            }
        }
        for (auto const& [devices, pair] : pairs) {
            std::string const more = pair.count > 1 ? " " + say("(and %d more of them)", pair.count - 1) : "";
            if (pair.row->node == nullptr) {
                context_.add(warn::same_topic, {context_.loading.file().path(), -1}, "ports",
                             say("%s is the topic of %s too", pair.row->topic, name_of(*pair.first)));
            } else if (path_of(*pair.row->node) == name_of(*pair.first)) {
                context_.add(warn::same_topic, *pair.row->node->parent, "",
                             say("runs twice, on two ports: put it behind the first mb-tcp device"));
            } else {
                context_.add(warn::same_topic, *pair.row->node, "name",
                             say("%s is the topic of %s too", pair.row->topic, name_of(*pair.first)) + more);
            }
        }
    }

    static CBase const* device_of(TopicRow const& row) { return row.node == nullptr ? nullptr : row.node->parent; }

    std::string name_of(TopicRow const& row) const { return row.node == nullptr ? row.parameter : path_of(*row.node); }

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
