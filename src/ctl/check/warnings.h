#pragma once

#include <string>
#include <vector>

#include "ctl/check/explain.h"
#include "ctl/check/warning_names.h"
#include "ctl/topics/topic_list.h"

/// What the looks for warnings share.
struct WarningContext {
    Loading const& loading;
    std::vector<TopicRow> const& topics;
    std::vector<Finding>& findings;

    void add(char const* name, Loading::Place const& place, std::string const& key, std::string text) const {
        Finding finding = make_finding(loading, place, key, std::move(text));
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

/// Keys that nothing reads, or not where they stand.
void look_at_keys(WarningContext const& context);
/// Values that are taken, and fail when the parameter is polled or written.
void look_at_values(WarningContext const& context);
/// Lines, names and topics that get into each other's way, and time.
void look_at_ports(WarningContext const& context);
