#pragma once

#include <memory>
#include <string>
#include <vector>

#include <json/value.h>

#include "config/broker.h"
#include "foundation/xlog.h"

/// GPIO lines of the gateway: discrete inputs, outputs and pulse counters. A driver of a kind of its own beside the
/// ports, with its own configuration, thread and broker client.
namespace xgpio {

/// Codes of the key `type` of a channel.
enum ChannelType : int { type_base = 0, type_electro = 1, type_water = 2 };
/// Codes of the key `direction` of a channel.
enum Direction : int { direction_input = 1, direction_output = 2 };

/// Settings of one line. Owned by its config_t.
class channel_t : public xCommon::LogItem {
 public:
    /// From an element of `channels`. Raises an xException or xExceptionf for one that can't be used.
    channel_t(xCommon::LogItem* parent, Json::Value const& node);

    int gpio = -1;  ///< the kernel's number of the line, 1 or more
    int type = type_base;
    bool enabled = true;  ///< read by nothing
    bool inverted = false;
    int direction = direction_input;
    float scale = 1.0F;  ///< what one pulse adds
    std::string edge;
    int debounce = 0;       ///< ms, 0 is none
    int poll_interval = 1;  ///< read by nothing
    int precision = 2;      ///< digits behind the point of a total
};

/// Settings of the whole driver. `name` is the second piece of every topic.
class config_t : public xCommon::LogItem {
 public:
    /// From the driver's block: `name`, `mqtt`, `wto`, `channels`. A channel that can't be used costs a line in the log
    /// and itself; null, with a line in the log, for a block without a name, without any element in `channels`, or with
    /// another key of a wrong type.
    static std::unique_ptr<config_t> Load(Json::Value const& root);
    /// The same from a file. Raises an xException for an empty name or document, and what jUtils::Load raises.
    static std::unique_ptr<config_t> Load(std::string const& file);

    std::string url = "127.0.0.1";
    int port = 1883;
    broker_set broker;
    int wto = 500;  ///< ms that the worker waits for interrupts
    std::vector<std::unique_ptr<channel_t>> channels;

 private:
    explicit config_t(Json::Value const& root);
    void load_channels(Json::Value const& nodes);
};

}  // namespace xgpio
