#include "runtime/command_map.h"

void CommandMap::add(std::string const& topic, Target target, bool subscribed) {
    targets_.emplace(topic, target);
    if (subscribed) {
        items_.push_back({topic, 2});
    }
}

CommandMap::Target CommandMap::find(std::string const& topic) const {
    auto const found = targets_.find(topic);
    return found == targets_.end() ? Target() : found->second;
}
