#pragma once

#include <array>
#include <map>
#include <optional>
#include <set>

#include "ctl/simulate/course.h"
#include "ctl/simulate/device.h"
#include "drivers/mbrtu/config.h"
#include "drivers/mbtcp/config.h"

namespace sim {

/// The registers and coils of a Modbus slave (Modbus Application Protocol V1.1b3), as the parameters of a configuration
/// want them. What is written stays; all else moves. Of parameters that share a register the first one decides.
class Registers {
 public:
    void add(modbus::c_param& param);
    /// The reply to a unit, from the slave address on, without what a transport puts around it.
    Bytes answer(View unit, double seconds);
    static Bytes refuse(View unit, unsigned char code);

 private:
    /// Coils, discrete inputs, holding and input registers.
    static constexpr size_t kinds = 4;

    struct Point {
        modbus::c_param* param;
        unsigned int address;
        unsigned int count;            ///< registers or coils
        std::optional<Course> course;  ///< none for named bits
    };
    struct Table {
        std::map<unsigned int, Point> points;          ///< by their first addresses
        std::set<unsigned int> taken;                  ///< addresses
        std::map<unsigned int, unsigned int> written;  ///< registers, or 0 and 1 of coils
    };

    Bytes read(View unit, double seconds) const;
    Bytes write_one(View unit);
    Bytes write_many(View unit);
    static Bytes registers(Table const& table, unsigned int first, unsigned int count, double seconds);
    static Bytes bits(Table const& table, unsigned int first, unsigned int count, double seconds);
    static Bytes image(Point const& point, double seconds);

    std::array<Table, kinds> tables_;
};

/// A slave that speaks RTU frames, on a serial line or through a converter.
class RtuSlave : public AddressedDevice<mbrtu::c_dev, modbus::c_param> {
 public:
    using AddressedDevice::AddressedDevice;
    Bytes answer(View request, double seconds) override;
    Bytes refusal(View request) override;

 private:
    void add(modbus::c_param& param) override { registers_.add(param); }

    Registers registers_;
};

/// A slave behind the MBAP header.
class TcpSlave : public AddressedDevice<mbtcp::c_dev, modbus::c_param> {
 public:
    using AddressedDevice::AddressedDevice;
    Bytes answer(View request, double seconds) override;
    Bytes refusal(View request) override;
    Bytes miscounted(Bytes /*reply*/) const override { return {}; }

 private:
    void add(modbus::c_param& param) override { registers_.add(param); }

    Registers registers_;
};

}  // namespace sim
