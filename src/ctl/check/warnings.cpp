#include "ctl/check/warnings.h"

#include <algorithm>

#include "ctl/check/check.h"
#include "ctl/language/phrase.h"

namespace {

/// Pieces of the lines that ports tell when they are made.
struct StartRow {
    char const* piece;
    Phrase text;
};
constexpr StartRow start_rows[] = {
    {"список устройств пуст", "none of its devices is enabled: the port doesn't start"},
    {"не является устройством", "a device of another driver: this port leaves it out"},
    {"узел не является", "a device of another driver: this port leaves it out"},
};

/// The making of the ports of a configuration, and what it tells.
class Start {
 public:
    explicit Start(WarningContext& context) : context_(context) {
        CBase const& ports = context.loading.config->ports;
        bool is_made = false;  // behind that come the farewells
        LogListener const log([&](xCommon::LMT type, std::string const* name, std::string_view text) {
            if (type == xCommon::lmtError && !is_made) {
                hear(name == nullptr ? nullptr : node_of(ports, name), std::string(text));
            }
        });
        IdlePorts const made(*context.loading.config);
        is_made = true;
        context.topics = list_topics(*context.loading.config, context.loading.gpio.get(), made);
        context.each_device([&](CBase const& /*port*/, CBase const& device) {
            context.names[&device] = made.device_name(device);
            for (auto const& child : device.children) {
                auto const* const param = dynamic_cast<CParam const*>(child.get());
                if (param != nullptr && !made.is_own(device, *param)) {
                    context.foreign.insert(param);
                }
            }
        });
    }

 private:
    void hear(CBase const* node, std::string const& text) {
        // "--- start : NAME : ..." bears no node.
        for (auto const& port : context_.loading.config->ports.children) {
            bool const is_about = text.starts_with("--- start : " + port->name + " : ");
            node = node == nullptr && is_about ? port.get() : node;
        }
        auto const row = std::find_if(std::begin(start_rows), std::end(start_rows), [&text](StartRow const& entry) {
            return text.find(entry.piece) != std::string::npos;
        });
        context_.add(warn::start, context_.loading.place_of(node), "",
                     row == std::end(start_rows) ? say("the port will say: %s", text) : say(row->text));
    }

    WarningContext& context_;
};

}  // namespace

void find_warnings(Loading const& loading, std::vector<Finding>& findings) {
    if (!loading.config) {
        return;
    }
    WarningContext context{loading, findings};
    Start const start(context);
    look_at_files(context);
    look_at_keys(context);
    look_at_values(context);
    look_at_ports(context);
}
