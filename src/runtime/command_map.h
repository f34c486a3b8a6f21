#pragma once

#include <map>
#include <string>
#include <vector>

#include "config/cparam.h"
#include "foundation/mq_client.h"

/// The topics on which commands come to a device, each with what it writes to. Made when the broker has connected.
class CommandMap {
 public:
    struct Target {
        CParam* param = nullptr;
        int bit = -1;  ///< index among the parameter's bits
    };

    /// The first one of a topic stands. One that isn't `subscribed` is found all the same: its topic may be another's.
    void add(std::string const& topic, Target target, bool subscribed = true);
    /// Without a parameter when there is no such topic.
    Target find(std::string const& topic) const;
    /// In their order, QoS 2.
    std::vector<xMQ::subsItem> const& items() const { return items_; }

 private:
    std::map<std::string, Target> targets_;
    std::vector<xMQ::subsItem> items_;
};
