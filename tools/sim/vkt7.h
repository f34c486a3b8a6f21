#pragma once

#include "sim/device.h"

namespace sim {

/// A VKT-7 heat calculator. Keeps what a session has selected, and answers with
///
///   0, 1, 2          temperatures, 2 bytes, 0.01 °C: around 90, 60 and 10, period 120 s
///   3, 4, 6, 7       volumes and masses, 4 bytes, 0.01: rise by the flow
///   9, 10            pressures, 2 bytes, 0.01, period 120 s
///   12               heat, 4 bytes, 0.001: rises with them
///   19, 20           flows, 32-bit floats
///
/// Its list of active registers holds just these; any other that is asked for has two bytes of 0.
class Vkt7 : public Device {
 public:
    explicit Vkt7(int address) : address_(static_cast<uint8_t>(address)) {}
    Bytes answer(std::span<uint8_t const> request, double seconds) override;

 private:
    enum class Selected { version, properties, value };

    Bytes select(std::span<uint8_t const> request);
    Bytes data(double seconds) const;

    uint8_t address_;
    Selected selected_ = Selected::version;
    int kind_ = 0;
    int number_ = 0;
};

}  // namespace sim
