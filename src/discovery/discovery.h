#pragma once

#include <string>
#include <vector>

#include "config/broker.h"
#include "topics/topic_list.h"

/// A message that is to stay on the broker.
struct RetainedMessage {
    std::string topic;
    std::string payload;
};

/// The messages, in the MQTT discovery format of Home Assistant, by which a building automation system finds what the
/// rows publish and take; each parameter once. None where `broker` has no `discovery`.
std::vector<RetainedMessage> discovery_messages(std::vector<TopicRow> const& rows, broker_set const& broker);

/// What subscribes all such messages of the gateway, and nobody else's.
std::string discovery_filter(discovery_set const& discovery);
