#include "runtime/ibase.h"

void IBase::Restart() {
    Stop();
    Start();
}

IBFac::IBFac(std::string const& key, Creator creator) {
    stone_map().emplace(key, creator);
}

IBFac::Map& IBFac::stone_map() {
    static auto* const map = new Map;  // never destroyed, see CBFac
    return *map;
}
