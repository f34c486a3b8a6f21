#pragma once

#include <optional>
#include <vector>

#include "ctl/simulate/course.h"
#include "ctl/simulate/device.h"
#include "drivers/merc_2xx/config.h"

namespace sim {

/// A meter of the Mercury family: stored energies and instantaneous values, behind a channel that wants a password and
/// closes when it hears nothing for 240 seconds. What it isn't configured for it refuses.
class Mercury : public AddressedDevice<merc_2xx::c_dev, merc_2xx::c_param> {
 public:
    using AddressedDevice::AddressedDevice;
    Bytes answer(View request, double seconds) override;
    Bytes refusal(View request) override;

 private:
    struct Value {
        merc_2xx::c_param const* param;
        Course course;
    };

    void add(merc_2xx::c_param& param) override;
    Bytes status(unsigned char code) const { return with_crc({address_, code}); }
    Bytes open_channel(View body);
    Bytes energies(unsigned char array, unsigned char tariff, double seconds) const;
    Bytes momentary(unsigned char number, double seconds) const;

    std::vector<Value> values_;
    bool open_ = false;
    double heard_s_ = 0;
};

}  // namespace sim
