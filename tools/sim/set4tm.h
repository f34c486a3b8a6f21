#pragma once

#include <string>

#include "sim/device.h"

namespace sim {

/// A SET-4TM meter: answers to test, open, close and read; a read, which names no parameter, brings a counter of
/// seconds in four bytes. It never speaks first, so that a driver which sends no opening finds it silent.
class Set4tm : public Device {
 public:
    /// `number` is its address.
    explicit Set4tm(std::string const& number);

    Bytes answer(std::span<uint8_t const> request, double seconds) override;

 private:
    uint8_t address_;
};

}  // namespace sim
