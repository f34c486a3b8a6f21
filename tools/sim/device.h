#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace sim {

using Bytes = std::vector<uint8_t>;

/// A simulated device: what it answers to what it hears.
class Device {
 public:
    Device() = default;
    virtual ~Device() = default;
    Device(Device const&) = delete;
    Device& operator=(Device const&) = delete;

    /// The reply to one request, empty for silence. `seconds` have passed since the start.
    virtual Bytes answer(std::span<uint8_t const> request, double seconds) = 0;
};

/// The device of that kind with its address or serial number, or null for an unknown kind.
std::unique_ptr<Device> make_device(std::string const& kind, std::string const& number);

}  // namespace sim
