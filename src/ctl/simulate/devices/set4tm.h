#pragma once

#include "ctl/simulate/device.h"
#include "drivers/set4tm/config.h"

namespace sim {

/// A SET-4TM meter: answers to test, open, close and read; a read, which names no parameter, brings a counter of
/// seconds in four bytes. It never speaks first, so that a driver which sends no opening finds it silent.
class Set4tm : public AddressedDevice<set4tm::c_dev, set4tm::c_param> {
 public:
    explicit Set4tm(set4tm::c_dev const& node) : AddressedDevice(node), password_(node.password) {}
    Bytes answer(View request, double seconds) override;
    Bytes refusal(View request) override;

 private:
    /// Nothing of a parameter goes on the wire.
    void add(set4tm::c_param& /*param*/) override {}

    std::string password_;
};

}  // namespace sim
