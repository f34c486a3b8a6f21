#pragma once

#include <chrono>
#include <thread>

/// Looks every few milliseconds until `condition` holds; false when it doesn't within `limit`.
template <typename Condition>
bool wait_until(Condition condition, std::chrono::milliseconds limit) {
    auto const end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    return true;
}

/// True when `condition` holds all through `span`: for what must not happen.
template <typename Condition>
bool holds_for(Condition condition, std::chrono::milliseconds span) {
    return !wait_until([&condition] { return !condition(); }, span);
}
