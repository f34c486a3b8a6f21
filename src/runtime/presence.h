#pragma once

#include <chrono>
#include <optional>

class DevBase;

/// Whether a device is there, and since when it has been silent, as it is published where the configuration asks for it
/// (`availability`, `age`). Used by the worker of the port.
class Presence {
 public:
    explicit Presence(DevBase& device) : device_(device) {}

    void begin_pass() { was_tried_ = has_answered_ = false; }
    /// A poll has ended.
    void polled(bool is_good);
    /// A good answer has come.
    void answered();
    /// Behind a pass. The first one that has tried the device tells what is known then.
    void end_pass();
    /// The device has been told as failed.
    void failed() { set(false); }
    /// Something was due, and the way to the device couldn't be opened.
    void unreachable();
    /// What is known, for a broker that has forgotten it.
    void tell_again();
    /// Whole seconds since the last good answer.
    std::optional<long long> age() const;

 private:
    void set(bool available);

    DevBase& device_;
    std::optional<bool> available_;
    std::optional<std::chrono::steady_clock::time_point> last_answer_;
    bool is_told_ = false;
    bool was_tried_ = false;
    bool has_answered_ = false;
};
