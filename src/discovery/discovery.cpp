#include "discovery/discovery.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <set>

#include "config/constants.h"
#include "discovery/ids.h"
#include "drivers/modbus/config.h"
#include "drivers/pulsartcp/config.h"
#include "drivers/xdlms/config.h"
#include "foundation/jutils.h"
#include "foundation/mq_client.h"

using xCommon::xString;

namespace {

enum class Kind { flag, text, number };

/// Of a kind, for what is read only and for what is written too.
struct Components {
    char const* read;
    char const* written;
};
constexpr Components components[] = {{"binary_sensor", "switch"}, {"sensor", "text"}, {"sensor", "number"}};

struct Unit {
    char const* text;
    char const* shown;
    char const* device_class;
    char const* state_class;
};
constexpr char momentary[] = "measurement";
constexpr char counting[] = "total_increasing";
constexpr Unit units[] = {
    {"°C", "°C", "temperature", momentary},
    {"V", "V", "voltage", momentary},
    {"A", "A", "current", momentary},
    {"W", "W", "power", momentary},
    {"kWh", "kWh", "energy", counting},
    {"bar", "bar", "pressure", momentary},
    {"%", "%", "", momentary},
    {"Hz", "Hz", "frequency", momentary},
    {"s", "s", "duration", momentary},
};
constexpr Unit water = {"m3", "m³", "water", counting};
constexpr Unit gas = {"m3", "m³", "gas", counting};
/// Of anything: what a tank holds goes up and down.
constexpr Unit volume = {"m3", "m³", "volume", ""};

// Media in an OBIS code.
constexpr unsigned char obis_gas = 7;
constexpr unsigned char obis_cold_water = 8;
constexpr unsigned char obis_hot_water = 9;

struct Range {
    double least;
    double most;
};
constexpr Range any_number = {-std::numeric_limits<float>::max(), std::numeric_limits<float>::max()};

struct TypeRange {
    int value_type;
    Range range;
};
constexpr TypeRange type_ranges[] = {
    {vt_i8, {INT8_MIN, INT8_MAX}},    {vt_u8, {0, UINT8_MAX}},       {vt_i16, {INT16_MIN, INT16_MAX}},
    {vt_u16, {0, UINT16_MAX}},        {vt_i24, {-8388608, 8388607}}, {vt_u24, {0, 16777215}},
    {vt_i32, {INT32_MIN, INT32_MAX}}, {vt_u32, {0, UINT32_MAX}},     {vt_float16, {-65504, 65504}},
};

/// A smaller step is refused by those who read the message.
constexpr double least_step = 0.001;

constexpr char number_template[] = "{{ value.split(' ')[0] }}";

/// As it was written in decimal digits.
double decimal(float value) {
    std::array<char, 64> text{};
    std::to_chars(text.data(), text.data() + text.size() - 1, value);
    return std::strtod(text.data(), nullptr);
}

/// A whole number without a point.
Json::Value number(double value) {
    constexpr double exact = 9007199254740992.0;
    return std::abs(value) < exact && std::trunc(value) == value ? Json::Value(static_cast<Json::Int64>(value))
                                                                 : Json::Value(value);
}

bool is_counter(TopicRow const& row) {
    return row.channel != nullptr && row.channel->type != xgpio::type_base;
}

Kind kind_of(TopicRow const& row) {
    if (row.channel != nullptr) {
        return is_counter(row) ? Kind::number : Kind::flag;
    }
    if (row.bit != nullptr) {
        return Kind::flag;
    }
    switch (row.node->value_type) {
        case vt_bit:
            return Kind::flag;
        case vt_str:
        case vt_str2:
        case vt_str4:
        case vt_str8:
            return Kind::text;
        case vt_none:
            // A command alone, whose text is the driver's.
            return row.is_read ? Kind::number : Kind::text;
        default:
            return Kind::number;
    }
}

CBase const* device_of(TopicRow const& row) {
    return row.node == nullptr ? nullptr : row.node->parent;
}

/// Of a volume, by what meters of the kind measure.
Unit const& volume_unit(TopicRow const& row) {
    CBase const* const device = device_of(row);
    if (auto const* const pulsar = dynamic_cast<pulsartcp::c_dev const*>(device)) {
        return pulsar->type_device == "water_meter" ? water : volume;
    }
    if (auto const* const object = dynamic_cast<xdlms::dparam const*>(row.node)) {
        unsigned char const medium = *object->address.object.begin();
        bool const is_water = medium == obis_cold_water || medium == obis_hot_water;
        return medium == obis_gas ? gas : is_water ? water : volume;
    }
    return device != nullptr && device->type == "vkt7-rtu" ? water : volume;
}

Unit unit_of(TopicRow const& row) {
    if (row.unit == volume.text) {
        return volume_unit(row);
    }
    for (Unit const& unit : units) {
        if (row.unit == unit.text) {
            return unit;
        }
    }
    return {"", "", "", is_counter(row) ? counting : ""};
}

/// What can be written, for want of limits in the configuration.
Range range_of(CParam const& param) {
    auto const* const reg = dynamic_cast<modbus::c_param const*>(&param);
    if (reg != nullptr && !(reg->converter_read.empty() && reg->converter_write.empty())) {
        return any_number;
    }
    double const scale = param.has_scale ? decimal(param.scale) : 1;
    for (TypeRange const& row : type_ranges) {
        if (row.value_type == param.value_type && scale != 0) {
            Range const scaled = {row.range.least * scale, row.range.most * scale};
            return scale > 0 ? scaled : Range{scaled.most, scaled.least};
        }
    }
    return any_number;
}

class Describer {
 public:
    Describer(std::vector<TopicRow> const& rows, broker_set const& broker)
        : broker_(broker), node_(ids::of(broker.discovery->node)) {
        for (TopicRow const& row : rows) {
            // Of a device to which only commands go nothing is known, but for those that count them as polls.
            if (row.node != nullptr && (row.is_read || row.node->parent->type == "media_ctrl")) {
                watched_.insert(row.node->parent);
            }
        }
    }

    RetainedMessage message(TopicRow const& row, std::string const& object) const {
        Kind const kind = kind_of(row);
        bool const is_written = !row.on_topic.empty() && !is_counter(row);
        Components const& names = components[static_cast<size_t>(kind)];
        Json::Value json;
        json["name"] = row.parameter;
        json["unique_id"] = node_ + "-" + object;
        json["device"] = device(row);
        add_availability(json, row);
        if (row.is_read) {
            json["state_topic"] = row.topic;
        }
        if (is_written) {
            json["command_topic"] = row.on_topic;
        }
        if (kind == Kind::flag) {
            add_flag(json, row, is_written);
        } else if (kind == Kind::number) {
            add_number(json, row, is_written);
        }
        std::string const component = is_written ? names.written : names.read;
        return {broker_.discovery->prefix + "/" + component + "/" + node_ + "/" + object + "/config",
                xCommon::jUtils::Compact(json)};
    }

 private:
    Json::Value device(TopicRow const& row) const {
        Json::Value json;
        json["identifiers"].append(node_ + "-" + ids::of(row.device_name));
        json["name"] = xString::Shown(row.device);
        json["model"] = row.node == nullptr ? "xgpio" : xString::Shown(row.node->parent->type);
        json["via_device"] = node_;
        return json;
    }

    void add_availability(Json::Value& json, TopicRow const& row) const {
        auto const add = [&json](std::string const& topic, char const* present, char const* absent) {
            Json::Value source;
            source["topic"] = topic;
            source["payload_available"] = present;
            source["payload_not_available"] = absent;
            json["availability"].append(source);
            json["availability_mode"] = "all";
        };
        std::string const state = broker_.state_topic(row.node == nullptr ? row.device_name : row.port);
        if (!state.empty()) {
            add(state, "online", "offline");
        }
        if (broker_.availability && watched_.contains(device_of(row))) {
            add(xString::Format(topic_available, row.device_name), "1", "0");
        }
    }

    static void add_flag(Json::Value& json, TopicRow const& row, bool is_written) {
        std::string on = "1";
        std::string off = "0";
        if (row.bit != nullptr && row.bit->inverted && is_written) {
            std::swap(on, off);  // what is written isn't turned over
        } else if (row.bit == nullptr && row.node != nullptr && row.node->parent->type != "z2t") {
            on = xString::Shown(row.node->format(on));
            off = xString::Shown(row.node->format(off));
        }
        json["payload_on"] = is_written ? "1" : on;
        json["payload_off"] = is_written ? "0" : off;
        if (is_written && (on != "1" || off != "0")) {
            json["state_on"] = on;
            json["state_off"] = off;
        }
    }

    static void add_number(Json::Value& json, TopicRow const& row, bool is_written) {
        Unit const unit = unit_of(row);
        if (!row.unit.empty()) {
            json["unit_of_measurement"] = *unit.shown != '\0' ? unit.shown : xString::Shown(row.unit);
            json["value_template"] = number_template;
        }
        if (*unit.device_class != '\0') {
            json["device_class"] = unit.device_class;
        }
        if (is_written) {
            add_limits(json, *row.node);
        } else if (*unit.state_class != '\0') {
            json["state_class"] = unit.state_class;
        }
    }

    static void add_limits(Json::Value& json, CParam const& param) {
        Range const range = range_of(param);
        json["min"] = number(param.has_min ? decimal(static_cast<float>(param.min)) : range.least);
        json["max"] = number(param.has_max ? decimal(static_cast<float>(param.max)) : range.most);
        json["step"] = number(param.has_scale ? std::max(std::abs(decimal(param.scale)), least_step) : 1);
        json["mode"] = "box";
    }

    broker_set const& broker_;
    std::string node_;
    std::set<CBase const*> watched_;
};

/// A SET-4TM meter isn't asked for values yet. Names with which no topic can be formed are told when they are loaded.
bool is_there(TopicRow const& row) {
    bool const is_asked = row.node == nullptr || row.node->parent->type != "set-4tm";
    return is_asked && xMQ::mqUtils::is_topic(row.topic);
}

}  // namespace

std::vector<RetainedMessage> discovery_messages(std::vector<TopicRow> const& rows, broker_set const& broker) {
    std::vector<RetainedMessage> messages;
    if (!broker.discovery) {
        return messages;
    }
    Describer const describer(rows, broker);
    std::set<std::string> objects;
    for (TopicRow const& row : rows) {
        std::string const object = ids::of(row.device_name, row.parameter);
        if (is_there(row) && objects.insert(object).second) {
            messages.push_back(describer.message(row, object));
        }
    }
    return messages;
}

std::string discovery_filter(discovery_set const& discovery) {
    return discovery.prefix + "/+/" + ids::of(discovery.node) + "/+/config";
}
