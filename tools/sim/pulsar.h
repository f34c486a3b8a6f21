#pragma once

#include <string>

#include "sim/device.h"

namespace sim {

/// Two Pulsar meters behind one converter: a water meter at the address that its number gives (at most 8 digits), and a
/// pulse counter at the next one. What they hold moves with time; a parameter that they lack is refused.
///
/// Function 1, mask of channels: floats of the channels asked for, m3
/// Function 4: the clock
/// Function 10, water meter            Function 10, pulse counter
///   0001  u32  serial number            0001  u32  serial number
///   0002  version                       0002  version
///   0003  on or off, each half minute   0003 0004 0005  floats of the channels
///   0010  status bits                   000D  status bits
///   0125  0126  float limits            0012  i8
///   both: 1003 i16, 10F0, 1110, 1111, 11F0, 11F1, and 1100 with 8 bytes
class Pulsar : public Device {
 public:
    explicit Pulsar(std::string const& number);

    Bytes answer(std::span<uint8_t const> request, double seconds) override;

 private:
    Bytes water_address_;
    Bytes pulse_address_;
};

}  // namespace sim
