#pragma once

#include <map>

#include "ctl/simulate/course.h"
#include "ctl/simulate/device.h"
#include "drivers/vkt7rtu/config.h"

namespace sim {

/// A VKT-7 heat calculator. Keeps what a session has selected. Its list of active registers holds those that it is
/// configured for.
class Vkt7 : public AddressedDevice<vkt7rtu::c_dev, modbus::c_register> {
 public:
    using AddressedDevice::AddressedDevice;
    Bytes answer(View request, double seconds) override;
    Bytes refusal(View request) override;

 private:
    enum class Selected { version, properties, value };

    struct Register {
        modbus::c_register const* param;
        int kind;
        int digits;
        int size;
        bool is_float;
        Course course;
    };

    void add(modbus::c_register& param) override;
    Bytes select(View request);
    Bytes active() const;
    Bytes data(double seconds) const;

    std::map<int, Register> registers_;
    Selected selected_ = Selected::version;
    int kind_ = 0;
    int number_ = 0;
};

}  // namespace sim
