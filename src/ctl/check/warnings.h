#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "ctl/check/explain.h"
#include "ctl/check/warning_names.h"
#include "topics/topic_list.h"

/// What the looks for warnings share.
struct WarningContext {
    Loading const& loading;
    std::vector<Finding>& findings;
    std::vector<TopicRow> topics = {};
    std::map<CBase const*, std::string> names = {};  ///< of the devices, as topics have them
    std::set<CBase const*> foreign = {};             ///< parameters that their devices never ask for

    void add(char const* name, Loading::Place const& place, std::string const& key, std::string text) const {
        add(name, make_finding(loading, place, key, std::move(text)));
    }
    void add(char const* name, Finding finding) const {
        finding.is_error = false;
        finding.name = name;
        findings.push_back(std::move(finding));
    }
    void add(char const* name, CBase const& node, std::string const& key, std::string text) const {
        add(name, loading.place_of(&node), key, std::move(text));
    }
    /// Something of each enabled device on an enabled port.
    template <typename Look>
    void each_device(Look look) const {
        for (auto const& port : loading.config->ports.children) {
            for (auto const& device : port->children) {
                if (port->enabled && device->enabled) {
                    look(*port, *device);
                }
            }
        }
    }
};

/// What the parser takes without a word, in each file.
void look_at_files(WarningContext const& context);
/// Keys that nothing reads, or not where they stand.
void look_at_keys(WarningContext const& context);
/// Values that are taken, and fail when the parameter is polled or written.
void look_at_values(WarningContext const& context);
/// Lines, names and topics that get into each other's way, and time.
void look_at_ports(WarningContext const& context);
