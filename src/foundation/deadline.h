#pragma once

#include <algorithm>
#include <chrono>

namespace xCommon {

/// A point on the steady clock by which a wait must end. A wait of 0 or less ends at once.
class Deadline {
 public:
    explicit Deadline(int wait_ms)
        : end_(std::chrono::steady_clock::now() + std::chrono::milliseconds(std::max(wait_ms, 0))) {}
    /// Milliseconds left, rounded up so that a wait never spins, never below 0.
    int left_ms() const {
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(end_ - std::chrono::steady_clock::now());
        return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
    }
    bool passed() const { return std::chrono::steady_clock::now() >= end_; }

 private:
    std::chrono::steady_clock::time_point end_;
};

}  // namespace xCommon
