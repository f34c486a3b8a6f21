#include "ctl/check/warnings.h"

#include "ctl/check/check.h"
#include "ctl/language/phrase.h"

namespace {

/// The node whose name a line of the log bears.
CBase const* node_of(CBase const& node, std::string const* name) {
    if (&node.name == name) {
        return &node;
    }
    for (auto const& child : node.children) {
        if (CBase const* const found = node_of(*child, name)) {
            return found;
        }
    }
    return nullptr;
}

}  // namespace

void find_warnings(Loading const& loading, std::vector<Finding>& findings) {
    if (!loading.config) {
        return;
    }
    std::vector<TopicRow> topics;
    WarningContext const context{loading, topics, findings};
    {
        bool is_made = false;  // behind that come the farewells
        LogListener const log([&](xCommon::LMT type, std::string const* name, std::string_view text) {
            if (type == xCommon::lmtError && !is_made) {
                CBase const* const node = name == nullptr ? nullptr : node_of(loading.config->ports, name);
                context.add(warn::start, loading.place_of(node), "", say("the port will say: %s", std::string(text)));
            }
        });
        IdlePorts const ports(*loading.config);
        is_made = true;
        topics = list_topics(loading, ports);
    }
    look_at_keys(context);
    look_at_values(context);
    look_at_ports(context);
}
