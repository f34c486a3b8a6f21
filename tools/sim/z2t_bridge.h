#pragma once

#include <string>
#include <vector>

namespace sim {

/// What a Zigbee bridge says on MQTT, with two devices behind it:
///
///   0x4F21  "Temperature" in °C around 21.5, "Humidity" in % around 45; period 60 s
///   0x7A03  a switch, "Power" 0 or 1, taken from a command "Send": {"Power": ...} with 0, 1, "on", "off" or "toggle"
class Z2tBridge {
 public:
    struct Message {
        std::string topic;
        std::string payload;
    };

    explicit Z2tBridge(std::string const& id);

    /// Where it listens for commands.
    std::string const& command_topic() const { return command_topic_; }
    /// The reports of all devices and the state of the bridge, `seconds` since the start.
    std::vector<Message> reports(double seconds) const;
    /// The switch's new state, for a command that is for it; nothing for any other.
    std::vector<Message> take_command(std::string const& payload);

 private:
    Message switch_report() const;

    std::string sensor_topic_;
    std::string result_topic_;
    std::string command_topic_;
    bool is_on_ = false;
};

}  // namespace sim
