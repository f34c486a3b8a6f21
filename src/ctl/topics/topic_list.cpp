#include "ctl/topics/topic_list.h"

#include <algorithm>

#include "config/constants.h"
#include "ctl/check/key_rows.h"
#include "ctl/json_text.h"
#include "ctl/topics/writing.h"
#include "drivers/dcon/config.h"
#include "drivers/modbus/config.h"
#include "drivers/vkt7rtu/config.h"
#include "drivers/xdlms/config.h"
#include "drivers/xsnmp/config.h"
#include "transport/no_line_tran.h"

using xCommon::xString;

namespace {

/// Nothing comes from it.
class IdleLine : public NoLineTran {
 public:
    using NoLineTran::NoLineTran;
    int read(unsigned char* /*buffer*/, int /*count*/) override { return 0; }
};

/// Controls that a parameter has: its own, or those of its bits.
std::vector<std::string> controls_of(CParam const& param) {
    bholding::bhold const* bits = nullptr;
    bool const is_vkt7 = dynamic_cast<vkt7rtu::c_dev const*>(param.parent) != nullptr;
    if (is_vkt7 && dynamic_cast<vkt7rtu::c_param const*>(&param) == nullptr) {
        return {param.name};  // a parameter of Modbus is a plain register there
    }
    if (auto const* const reg = dynamic_cast<modbus::c_register const*>(&param)) {
        bits = reg->bits.get();
    } else if (auto const* const command = dynamic_cast<dcon::c_param const*>(&param)) {
        bits = command->bits.get();
    }
    if (bits == nullptr) {
        return {param.name};
    }
    std::vector<std::string> names;
    for (bholding::bitem const& item : bits->items) {
        names.push_back(item.control_name());
    }
    return names;
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

/// "reg_type=input reg_addr=10": what the driver's own keys say.
std::string source_of(Loading const& loading, CBase const& node) {
    static keys::Tables const common = CParam::key_tables();
    std::map<std::string, std::string> values;
    std::string text;
    for (Loading::Element const* const element : loading.all_of(&node)) {
        Json::Value const& json = loading.element(element->place);
        for (auto const& table : key_rows::tables(element->class_key)) {
            bool const is_common = std::any_of(common.begin(), common.end(),
                                               [&table](auto const& other) { return other.data() == table.data(); });
            for (keys::Key const& key : table) {
                bool const is_plain = key.value.type != keys::Type::list && key.value.type != keys::Type::object;
                bool const is_own = !is_common || key.name == std::string_view("value_type");
                if (is_own && is_plain && json.isObject() && json.isMember(key.name)) {
                    values[key.name] = text_at(json, key.name);
                }
            }
        }
    }
    for (auto const& [key, value] : values) {
        text += (text.empty() ? "" : " ") + key + "=" + value;
    }
    return text;
}

std::string device_label(CDev const& device) {
    return device.display_name.empty() ? device.name : device.display_name;
}

void add_rows(Loading const& loading, IdlePorts const& ports, CBase const& port, CDev const& device,
              std::vector<TopicRow>& rows) {
    std::string const device_name = ports.device_name(device);
    for (auto const& child : device.children) {
        auto const* const param = dynamic_cast<CParam const*>(child.get());
        if (param == nullptr || !param->enabled || !ports.is_own(device, *param)) {
            continue;
        }
        bool const is_written = !why_not_written(*param);
        for (std::string const& control : controls_of(*param)) {
            TopicRow row;
            row.topic = xString::Format(topic_value, device_name, control);
            std::string const on_topic = xString::Format(topic_on, device_name, control);
            row.on_topic = is_written && ports.is_subscribed(on_topic) ? on_topic : "";
            row.is_read = is_polled(*param);
            row.parameter = control;
            row.unit = param->unit;
            row.interval = interval_of(device, *param, row.is_read);
            row.port = port.name;
            row.device = device_label(device);
            row.source = source_of(loading, *param);
            row.node = param;
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
        row.source = "gpio=" + std::to_string(channel->gpio);
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

std::vector<TopicRow> list_topics(Loading const& loading, IdlePorts const& ports) {
    std::vector<TopicRow> rows;
    for (auto const& port : loading.config->ports.children) {
        for (auto const& child : port->children) {
            auto const* const device = dynamic_cast<CDev const*>(child.get());
            if (device != nullptr && port->enabled && device->enabled) {
                add_rows(loading, ports, *port, *device, rows);
            }
        }
    }
    if (loading.gpio) {
        add_gpio(*loading.gpio, rows);
    }
    return rows;
}
