#pragma once

#include <chrono>
#include <memory>

#include <modbus/modbus.h>

#include "sim/registers.h"

namespace sim {

/// A Modbus RTU slave of libmodbus on a descriptor that somebody else has opened, the master side of a pseudo-terminal.
/// Works on one thread.
class RtuSlave {
 public:
    /// `address` 1 to 247. Raises std::runtime_error with the library's reason.
    RtuSlave(int descriptor, int address);

    /// Takes one request, which has begun to arrive, and answers it if it is for this address. False when the line has
    /// failed for good. What is no request (a torn frame, another slave's traffic) is read away.
    bool serve();

    Registers& registers() { return registers_; }

 private:
    void make_context();
    void drain();

    int descriptor_;
    int address_;
    std::unique_ptr<modbus_t, void (*)(modbus_t*)> context_;
    Registers registers_;
    std::chrono::steady_clock::time_point start_;
};

}  // namespace sim
