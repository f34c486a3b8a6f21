#pragma once

#include <map>

#include "ctl/simulate/course.h"
#include "ctl/simulate/device.h"
#include "drivers/milur/config.h"

namespace sim {

/// A meter of the Milur family, behind a session with a password. It has the objects that it is configured for.
class Milur : public AddressedDevice<milur::c_dev, milur::c_param> {
 public:
    using AddressedDevice::AddressedDevice;
    Bytes answer(View request, double seconds) override;
    Bytes refusal(View request) override;

 private:
    struct Object {
        int value_type;
        Course course;
    };

    void add(milur::c_param& param) override;
    Bytes refuse(unsigned char function, unsigned char code) const;
    Bytes read(unsigned char number, double seconds) const;

    std::map<unsigned char, Object> objects_;
    bool open_ = false;
};

}  // namespace sim
