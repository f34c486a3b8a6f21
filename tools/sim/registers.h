#pragma once

#include <memory>

#include <modbus/modbus.h>

namespace sim {

/// The register image of a simulated slave. All numbers are big endian, of two registers the high one first.
///
/// Input registers (function 4)         moves
///    0     i16      temperature, 0.1 °C    around the set point, period 60 s
///    1, 2  u32      pulses                 + 3 a second
///    3, 4  float32  pressure, bar          2 to 4, period 40 s
///    5     bits     0 pump runs (its command), 1 too warm, 2 blinks every second
///    6..9  text     "HEATING " or "COOLING "
///   10     u16      raw value of a 12-bit converter, 0 to 4095, rises for 100 s
/// Holding registers (functions 3, 6, 16), keep what is written
///    0     i16      set point, 0.1 °C; 215
///    1     bits     0 pump command, 1 fan command; 1
///    2, 3  float32  gain; 1.5
///    4..7  text     label; "BOILER 1"
///    8     u16      limit; 100
/// Coils (functions 1, 5), keep what is written
///    0 lamp, 1 valve
/// Discrete inputs (function 2)
///    0 blinks every 2 s, 1 the lamp's coil, 2 too warm
class Registers {
 public:
    static constexpr int count = 64;

    /// `phase_s` shifts the curves, so that several slaves differ. Raises std::bad_alloc.
    explicit Registers(double phase_s);

    /// Moves what moves to `seconds` since the start.
    void refresh(double seconds);
    modbus_mapping_t* mapping() { return mapping_.get(); }

 private:
    std::unique_ptr<modbus_mapping_t, void (*)(modbus_mapping_t*)> mapping_;
    double phase_s_;
};

}  // namespace sim
