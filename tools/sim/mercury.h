#pragma once

#include <string>

#include "sim/device.h"

namespace sim {

/// A frame with the CRC of Modbus behind it, low byte first; the meters of several families use it.
Bytes with_crc(Bytes frame);
bool has_crc(std::span<uint8_t const> frame);

/// A three-phase meter of the Mercury family: stored energies and instantaneous values, behind a channel that wants a
/// password and closes when it hears nothing for 240 seconds.
class Mercury : public Device {
 public:
    /// `number` is its address.
    explicit Mercury(std::string const& number);

    Bytes answer(std::span<uint8_t const> request, double seconds) override;

 private:
    Bytes status(uint8_t code) const { return with_crc({address_, code}); }
    Bytes open_channel(std::span<uint8_t const> body);
    Bytes energies(uint8_t array, uint8_t tariff, double seconds) const;
    Bytes momentary(uint8_t number, double seconds) const;

    uint8_t address_;
    bool open_ = false;
    double heard_ = 0;
};

}  // namespace sim
