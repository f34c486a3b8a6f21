#pragma once

#include <string>
#include <utility>

#include "sim/device.h"

namespace sim {

/// An electricity meter of the text protocol. The register in the request, and what stands in the brackets of the
/// answer:
///
///   ET0PE()              energy in kWh: total, tariff 1, tariff 2; 100 W on average
///   ET0PE(05.03.24)      the same at the end of that day, or now
///   U()  I()  P()        voltage in V, current in A, power in kW, around 230 V and 2 A, period 60 s
///   CLOCK()              weekday, day, month, year, hour, minute, second of UTC, two digits each, and a "#"
///
/// Any other register is answered by (E12), a wrong checksum by NAK; other addresses get no answer.
class Emera : public Device {
 public:
    explicit Emera(std::string address) : address_(std::move(address)) {}
    Bytes answer(std::span<uint8_t const> request, double seconds) override;

 private:
    std::string address_;
};

}  // namespace sim
