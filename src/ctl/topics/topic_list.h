#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ctl/check/loading.h"
#include "ctl/scenario/hosted_ports.h"

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

/// The topic of a value.
struct TopicRow {
    std::string topic;
    std::string on_topic;  ///< empty: it takes no writes
    bool is_read = true;   ///< it is published
    std::string parameter;
    std::string unit;
    std::optional<int> interval;  ///< s; none: it isn't polled
    std::string port;
    std::string device;  ///< as the configuration names it
    std::string source;  ///< what of the device, in the keys of its driver
    CBase const* node = nullptr;

    char const* direction() const { return on_topic.empty() ? "r" : is_read ? "rw" : "w"; }
};

/// Of all enabled parameters that load, in the order of the file; GPIO channels at the end.
std::vector<TopicRow> list_topics(Loading const& loading, IdlePorts const& ports);
