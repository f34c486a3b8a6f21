#pragma once

#include <string>
#include <vector>

#include <json/value.h>

#include "ctl/simulate/course.h"
#include "ctl/simulate/far_end.h"
#include "drivers/z2t_tasmota/config.h"
#include "foundation/mq_client.h"

namespace sim {

/// What a Zigbee bridge says on MQTT, with the devices of a port behind it. A member of a device's reports moves until
/// a command "Send" sets it, to a number, "on", "off" or "toggle".
class ZigbeeBridge {
 public:
    struct Message {
        std::string topic;
        std::string payload;
    };

    /// As in its topics.
    explicit ZigbeeBridge(std::string const& id);

    void add(z2t_tasmota::config_device_t& node);
    /// Where it listens for commands.
    std::string const& command_topic() const { return command_topic_; }
    /// The reports of all devices and the state of the bridge.
    std::vector<Message> reports(double seconds) const;
    /// The device's new report, for a command that is for one; nothing for any other.
    std::vector<Message> take_command(std::string const& payload, double seconds);

 private:
    struct Member {
        std::string name;
        bool is_whole;
        Course course;
        Json::Value written;  ///< null until then
    };
    struct Device {
        std::string sid;
        int endpoint;
        std::vector<Member> members;
    };

    static Json::Value value_of(Member const& member, double seconds);
    Message report(Device const& device, double seconds) const;

    std::string sensor_topic_;
    std::string result_topic_;
    std::string command_topic_;
    std::vector<Device> devices_;
};

/// The bridge at a broker, which is waited for. It reports once a second and answers commands at once.
class ZigbeeEnd : public FarEnd {
 public:
    ZigbeeEnd(std::string const& id, Faults& faults);

    ZigbeeBridge& bridge() { return bridge_; }
    void connect(std::string const& host, int port, xMQ::Access const& access);

    std::vector<int> awaited() const override { return {}; }
    void serve(std::span<pollfd const> ready, double seconds) override;
    std::chrono::milliseconds patience() const override { return std::chrono::milliseconds(50); }

 private:
    void publish(std::vector<ZigbeeBridge::Message> const& messages);

    ZigbeeBridge bridge_;
    Faults& faults_;
    xCommon::SyncVector queue_;
    xMQ::mqClient client_;
    double due_s_ = 0;
};

}  // namespace sim
