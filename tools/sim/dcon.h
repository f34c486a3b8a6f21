#pragma once

#include <array>
#include <string>

#include "sim/device.h"

namespace sim {

/// A DCON module of sixteen channels with checksums switched on. `number` is its address, decimal.
///
///   #AAn          channels 0 to 7: pulses, five digits, 1 to 8 a second; 8 to F: volts, "+1.23", period 60 s
///   $AA2          configuration, "400680"
///   $AA6          state, two digits of outputs, two of inputs, "00"; the inputs count up, once a second
///   @AA           the same without the last two
///   $AACn         clears the count of channel n
///   %AANNTTCCFF   takes the address NN and the configuration TTCCFF
///
/// Anything else is refused with "?AA". A wrong checksum or another address gets no answer.
class Dcon : public Device {
 public:
    explicit Dcon(std::string const& number);
    Bytes answer(std::span<uint8_t const> request, double seconds) override;

 private:
    std::string reply_to(std::string const& command, double seconds);
    std::string reading(unsigned int channel, double seconds) const;

    std::string address_;
    std::string settings_ = "400680";
    std::array<double, 8> cleared_s_ = {};
};

}  // namespace sim
