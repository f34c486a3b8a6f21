#include "topics/topic_list.h"

#include <algorithm>

#include "config/constants.h"
#include "drivers/dcon/config.h"
#include "drivers/modbus/config.h"
#include "drivers/vkt7rtu/config.h"
#include "drivers/xdlms/config.h"
#include "drivers/xsnmp/config.h"
#include "topics/writing.h"
#include "transport/no_line_tran.h"

using xCommon::xString;

namespace {

/// Nothing comes from it.
class IdleLine : public NoLineTran {
 public:
    using NoLineTran::NoLineTran;
    int read(unsigned char* /*buffer*/, int /*count*/) override { return 0; }
};

/// A value of a parameter: the whole of it, or one of its bits.
struct Control {
    std::string name;
    bholding::bitem const* bit = nullptr;
};

std::vector<Control> controls_of(CParam const& param) {
    bholding::bhold const* bits = nullptr;
    bool const is_vkt7 = dynamic_cast<vkt7rtu::c_dev const*>(param.parent) != nullptr;
    if (is_vkt7 && dynamic_cast<vkt7rtu::c_param const*>(&param) == nullptr) {
        return {{param.name}};  // a parameter of Modbus is a plain register there
    }
    if (auto const* const reg = dynamic_cast<modbus::c_register const*>(&param)) {
        if (reg->has_bits() && !reg->bits) {
            return {};  // an overlay has left them out, and nothing is published
        }
        bits = reg->has_bits() ? reg->bits.get() : nullptr;
    } else if (auto const* const command = dynamic_cast<dcon::c_param const*>(&param)) {
        bits = command->bits.get();
    }
    if (bits == nullptr) {
        return {{param.name}};
    }
    std::vector<Control> controls;
    for (bholding::bitem const& item : bits->items) {
        controls.push_back({item.control_name(), &item});
    }
    return controls;
}

/// Some are commands only: a module polls what is read only, and a media controller has no values.
bool is_polled(CParam const& param) {
    if (param.parent != nullptr && param.parent->type == "media_ctrl") {
        return false;
    }
    return dynamic_cast<dcon::c_param const*>(&param) == nullptr || param.read_only;
}

/// Between two publications, s; none where the device reports by itself, or nothing is read.
std::optional<int> interval_of(CDev const& device, CParam const& param, bool is_read) {
    if (!is_read || device.type == "z2t") {
        return {};
    }
    if (device.type == "pulsar-tcp") {
        return device.poll_interval;  // a sweep is over all of them
    }
    return device.all_params ? std::max(device.poll_interval, param.poll_interval) : param.poll_interval;
}

std::string device_label(CDev const& device) {
    return device.display_name.empty() ? device.name : device.display_name;
}

void add_rows(IdlePorts const& ports, CBase const& port, CDev const& device, std::vector<TopicRow>& rows) {
    std::string const device_name = ports.device_name(device);
    for (auto const& child : device.children) {
        auto* const param = dynamic_cast<CParam*>(child.get());
        if (param == nullptr || !param->enabled || !ports.is_own(device, *param)) {
            continue;
        }
        bool const is_written = why_not_written(*param) == Unwritable::no;
        for (Control const& control : controls_of(*param)) {
            TopicRow row;
            row.topic = xString::Format(topic_value, device_name, control.name);
            std::string const on_topic = xString::Format(topic_on, device_name, control.name);
            row.on_topic = is_written && ports.is_subscribed(on_topic) ? on_topic : "";
            row.is_read = is_polled(*param);
            row.parameter = control.name;
            row.unit = param->unit;
            row.interval = interval_of(device, *param, row.is_read);
            row.port = port.name;
            row.device = device_label(device);
            row.device_name = device_name;
            row.node = param;
            row.bit = control.bit;
            if (row.is_read || !row.on_topic.empty()) {
                rows.push_back(row);
            }
        }
    }
}

void add_gpio(xgpio::config_t const& gpio, std::vector<TopicRow>& rows) {
    for (auto const& channel : gpio.channels) {
        TopicRow row;
        row.topic = xString::Format(topic_value, gpio.name, channel->name);
        bool const is_counter = channel->type != xgpio::type_base;
        if (channel->direction == xgpio::direction_output) {
            row.on_topic = row.topic + topic_on_suffix;
        }
        row.topic += is_counter ? gpio_suffix_total : "";
        row.parameter = channel->name;
        row.device = gpio.name;
        row.device_name = gpio.name;
        row.channel = channel.get();
        rows.push_back(row);
    }
}

}  // namespace

IdlePorts::IdlePorts(Config const& config) {
    for (auto const& node : config.ports.children) {
        // Agents are asked for their addresses when they are made, and take no writes.
        if (!node->enabled || node->type == "snmp") {
            continue;
        }
        if (PortBase* const port = make(*node)) {
            port->mq_start();
            port->ProcConnect();
        }
    }
}

DevBase* IdlePorts::object_of(CBase const& device) const {
    for (auto const& port : ports_) {
        for (auto const& object : port->devices) {
            if (object->cfg == &device) {
                return object.get();
            }
        }
    }
    return nullptr;
}

std::string IdlePorts::device_name(CBase const& device) const {
    DevBase* const object = object_of(device);
    return object == nullptr ? device.name : object->get_device_name();
}

bool IdlePorts::is_own(CBase const& device, CParam const& param) const {
    if (dynamic_cast<xdlms::cddev const*>(&device) != nullptr) {
        return dynamic_cast<xdlms::dparam const*>(&param) != nullptr;
    }
    if (dynamic_cast<xsnmp::csdev const*>(&device) != nullptr) {
        return dynamic_cast<xsnmp::sparam const*>(&param) != nullptr;
    }
    DevBase const* const object = object_of(device);
    return object == nullptr || object->is_own(param);
}

std::unique_ptr<iTran> IdlePorts::make_line(CPort& node) {
    return std::make_unique<IdleLine>(&node);
}

std::vector<TopicRow> list_topics(Config const& config, xgpio::config_t const* gpio, IdlePorts const& ports) {
    std::vector<TopicRow> rows;
    for (auto const& port : config.ports.children) {
        for (auto const& child : port->children) {
            auto const* const device = dynamic_cast<CDev const*>(child.get());
            if (device != nullptr && port->enabled && device->enabled) {
                add_rows(ports, *port, *device, rows);
            }
        }
    }
    if (gpio != nullptr) {
        add_gpio(*gpio, rows);
    }
    return rows;
}
