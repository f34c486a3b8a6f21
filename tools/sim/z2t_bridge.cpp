#include "sim/z2t_bridge.h"

#include <cmath>
#include <cstdio>
#include <memory>
#include <numbers>

#include <json/reader.h>

namespace sim {

namespace {

constexpr char switch_name[] = "0x7A03";

/// Null for what is no object.
Json::Value parsed(std::string const& text) {
    std::unique_ptr<Json::CharReader> const reader(Json::CharReaderBuilder().newCharReader());
    Json::Value root;
    bool const good = reader->parse(text.data(), text.data() + text.size(), &root, nullptr);
    return good && root.isObject() ? root : Json::Value();
}

/// As the bridge takes it: numbers, and words for them in either case.
std::string lower_text(Json::Value const& value) {
    std::string text = value.isConvertibleTo(Json::stringValue) ? value.asString() : std::string();
    for (char& symbol : text) {
        symbol = symbol >= 'A' && symbol <= 'Z' ? static_cast<char>(symbol - 'A' + 'a') : symbol;
    }
    return text;
}

}  // namespace

Z2tBridge::Z2tBridge(std::string const& id)
    : sensor_topic_("tele/" + id + "/SENSOR"),
      result_topic_("tele/" + id + "/RESULT"),
      command_topic_("cmnd/" + id + "/ZbSend") {}

std::vector<Z2tBridge::Message> Z2tBridge::reports(double seconds) const {
    double const wave = std::sin(2 * std::numbers::pi * seconds / 60);
    char climate[160];
    std::snprintf(climate, sizeof(climate),
                  R"({"ZbReceived":{"0x4F21":{"Device":"0x4F21","Temperature":%.2f,"Humidity":%.1f,)"
                  R"("Endpoint":1,"LinkQuality":%d}}})",
                  21.5 + 3 * wave, 45 - 10 * wave, 80 + static_cast<int>(5 * wave));
    return {{sensor_topic_, climate},
            switch_report(),
            {result_topic_, R"({"ZbState":{"Status":0,"Message":"Zigbee started"}})"}};
}

std::vector<Z2tBridge::Message> Z2tBridge::take_command(std::string const& payload) {
    Json::Value const command = parsed(payload);
    if (command["Device"] != switch_name || !command["Send"].isObject()) {
        return {};
    }
    std::string const wanted = lower_text(command["Send"]["Power"]);
    bool const turn_on = wanted == "1" || wanted == "on" || (wanted == "toggle" && !is_on_);
    bool const turn_off = wanted == "0" || wanted == "off" || (wanted == "toggle" && is_on_);
    if (!turn_on && !turn_off) {
        return {};
    }
    is_on_ = turn_on;
    return {switch_report()};
}

Z2tBridge::Message Z2tBridge::switch_report() const {
    return {sensor_topic_, std::string(R"({"ZbReceived":{"0x7A03":{"Device":"0x7A03","Power":)") +
                               (is_on_ ? "1" : "0") + R"(,"Endpoint":2,"LinkQuality":120}}})"};
}

}  // namespace sim
