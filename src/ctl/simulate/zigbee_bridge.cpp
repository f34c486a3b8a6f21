#include "ctl/simulate/zigbee_bridge.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>

#include <json/writer.h>
#include <unistd.h>

#include "config/constants.h"
#include "foundation/jutils.h"
#include "foundation/xstring.h"

namespace sim {

namespace {

using xCommon::jUtils;
using xCommon::xString;

/// Members that are on or off.
constexpr char const* switches[] = {"power", "occupancy", "contact", "motion", "water", "smoke", "tamper"};

bool is_switch(z2t_tasmota::config_param_t const& param) {
    std::string const name = xString::ToLower(param.z2t_name);
    return param.value_type == vt_bit ||
           std::any_of(std::begin(switches), std::end(switches),
                       [&name](char const* word) { return name.find(word) != std::string::npos; });
}

std::string one_line(Json::Value const& value) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    writer["precision"] = 2;
    writer["precisionType"] = "decimal";
    return Json::writeString(writer, value);
}

/// A number where the text is one.
Json::Value from_text(std::string const& text) {
    char* end = nullptr;
    double const number = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(number)) {
        return text;
    }
    bool const is_whole = number == std::floor(number) && std::abs(number) < 1e15;
    return is_whole ? Json::Value(static_cast<Json::Int64>(number)) : Json::Value(number);
}

}  // namespace

ZigbeeBridge::ZigbeeBridge(std::string const& id)
    : sensor_topic_(xString::Format(topic_z2t_sensor, id)),
      result_topic_(xString::Format(topic_z2t_result, id)),
      command_topic_(xString::Format(topic_z2t_send, id)) {}

void ZigbeeBridge::add(z2t_tasmota::config_device_t& node) {
    constexpr Carrier on_off = {0, 1};
    constexpr Carrier number = {-1e6, 1e6, 0.01};
    constexpr Carrier whole = {-1e6, 1e6};
    Device device{node.sid, static_cast<int>(devices_.size()) + 1, {}};
    for (auto const& child : node.children) {
        auto* const param = dynamic_cast<z2t_tasmota::config_param_t*>(child.get());
        if (param == nullptr) {
            continue;
        }
        bool const is_float = param->value_type == vt_float32;
        Carrier const& carrier = is_float ? number : is_switch(*param) ? on_off : whole;
        device.members.push_back({param->z2t_name, !is_float, Course(*param, carrier), {}});
    }
    devices_.push_back(std::move(device));
}

Json::Value ZigbeeBridge::value_of(Member const& member, double seconds) {
    if (!member.written.isNull()) {
        return member.written;
    }
    return member.is_whole ? Json::Value(static_cast<Json::Int64>(member.course.whole_at(seconds)))
                           : Json::Value(member.course.at(seconds));
}

ZigbeeBridge::Message ZigbeeBridge::report(Device const& device, double seconds) const {
    constexpr int link_quality = 120;
    Json::Value values;
    values["Device"] = device.sid;
    for (Member const& member : device.members) {
        values[member.name] = value_of(member, seconds);
    }
    values["Endpoint"] = device.endpoint;
    values["LinkQuality"] = link_quality;
    Json::Value report;
    report["ZbReceived"][device.sid] = values;
    return {sensor_topic_, one_line(report)};
}

std::vector<ZigbeeBridge::Message> ZigbeeBridge::reports(double seconds) const {
    std::vector<Message> messages;
    for (Device const& device : devices_) {
        if (!device.members.empty()) {
            messages.push_back(report(device, seconds));
        }
    }
    messages.push_back({result_topic_, R"({"ZbState":{"Status":0,"Message":"Zigbee started"}})"});
    return messages;
}

std::vector<ZigbeeBridge::Message> ZigbeeBridge::take_command(std::string const& payload, double seconds) {
    Json::Value command;
    if (!jUtils::Parse(payload, command) || !command.isObject()) {
        return {};
    }
    auto const device = std::find_if(devices_.begin(), devices_.end(),
                                     [&](Device const& known) { return command["Device"] == known.sid; });
    if (device == devices_.end()) {
        return {};
    }
    bool is_taken = false;
    for (Member& member : device->members) {
        Json::Value const& wanted = jUtils::at(command["Send"], member.name.c_str());
        if (wanted.isNull() || !wanted.isConvertibleTo(Json::stringValue)) {
            continue;
        }
        std::string const text = xString::ToLower(wanted.asString());
        if (text == "toggle") {
            member.written = value_of(member, seconds) == 0 ? 1 : 0;
        } else {
            member.written = text == "on" ? Json::Value(1) : text == "off" ? Json::Value(0) : from_text(text);
        }
        is_taken = true;
    }
    return is_taken ? std::vector<Message>{report(*device, seconds)} : std::vector<Message>();
}

ZigbeeEnd::ZigbeeEnd(std::string const& id, Faults& faults)
    : bridge_(id), faults_(faults), client_(true, &queue_, xString::Format("sim%d#%s", getpid(), id), 60) {}

void ZigbeeEnd::connect(std::string const& host, int port, xMQ::Access const& access) {
    client_.set_access(access);
    client_.connect(host, port);
}

void ZigbeeEnd::publish(std::vector<ZigbeeBridge::Message> const& messages) {
    for (auto const& [topic, payload] : messages) {
        if (!faults_.strikes()) {
            client_.publish(topic, payload, 0, false);
        } else if (faults_.below(2) == 0) {
            client_.publish(topic, payload.substr(0, faults_.below(payload.size())), 0, false);
        }
    }
}

void ZigbeeEnd::serve(std::span<pollfd const> /*ready*/, double seconds) {
    while (std::unique_ptr<xCommon::svMessage> const entry{queue_.PopWait(0, false)}) {
        if (auto const* const message = dynamic_cast<xMQ::mqMessage const*>(entry.get())) {
            publish(bridge_.take_command(message->payload, seconds));
        } else if (entry->type == xCommon::svMessage::connected) {
            client_.subscribe({{bridge_.command_topic(), 2}});
        }
    }
    client_.resubscribe();
    if (seconds >= due_s_) {
        due_s_ = seconds + 1;
        publish(bridge_.reports(seconds));
    }
}

}  // namespace sim
