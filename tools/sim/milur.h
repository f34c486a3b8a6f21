#pragma once

#include <string>

#include "sim/device.h"

namespace sim {

/// A meter of the Milur family behind a session with a password. Its objects, all of them simulated: 1 voltage (mV, 3
/// bytes), 2 current (mA, 3 bytes), 3 power (W, 4 bytes), 4 energy (Wh, 8 BCD digits), 9 frequency (0.01 Hz, 2 bytes).
class Milur : public Device {
 public:
    /// `number` is its address.
    explicit Milur(std::string const& number);

    Bytes answer(std::span<uint8_t const> request, double seconds) override;

 private:
    Bytes refuse(uint8_t function, uint8_t code) const;
    Bytes read(uint8_t object, double seconds) const;

    uint8_t address_;
    bool open_ = false;
};

}  // namespace sim
