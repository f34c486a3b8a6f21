#pragma once

#include <optional>
#include <string>
#include <vector>

#include "config/config.h"
#include "config/cparam.h"
#include "drivers/bholding/bholding.h"
#include "gpio/config.h"
#include "runtime/hosted_ports.h"

/// The ports of a configuration as they are behind their start, with lines on which nothing answers: what they would
/// subscribe and what they tell at their start is seen, and nothing is opened.
class IdlePorts : public HostedPorts {
 public:
    /// Makes the enabled ports, and connects them.
    explicit IdlePorts(Config const& config);
    ~IdlePorts() override { ports_.clear(); }

    /// As topics have it.
    std::string device_name(CBase const& device) const;
    /// The device asks for the parameter.
    bool is_own(CBase const& device, CParam const& param) const;
    std::unique_ptr<iTran> make_line(CPort& node) override;

 private:
    /// Null for those of ports that aren't made, or have objects of their own.
    DevBase* object_of(CBase const& device) const;
};

/// The topic of a value: of a parameter, one of its bits, or a GPIO channel.
struct TopicRow {
    std::string topic;
    std::string on_topic;  ///< empty: it takes no writes
    bool is_read = true;   ///< it is published
    std::string parameter;
    std::string unit;
    std::optional<int> interval;  ///< s; none: it isn't polled
    std::string port;
    std::string device;       ///< as the configuration names it
    std::string device_name;  ///< as topics have it
    CParam* node = nullptr;   ///< null for a channel
    bholding::bitem const* bit = nullptr;
    xgpio::channel_t const* channel = nullptr;

    char const* direction() const { return on_topic.empty() ? "r" : is_read ? "rw" : "w"; }
};

/// Of all enabled parameters that load, in the order of the file; GPIO channels at the end. `gpio` may be null. The
/// rows point into both.
std::vector<TopicRow> list_topics(Config const& config, xgpio::config_t const* gpio, IdlePorts const& ports);
