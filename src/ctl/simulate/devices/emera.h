#pragma once

#include <map>
#include <string>
#include <vector>

#include "ctl/simulate/course.h"
#include "ctl/simulate/device.h"
#include "drivers/emera/config.h"

namespace sim {

/// An electricity meter of the text protocol. To the name of a register, in which a date may stand, it answers with
/// that name and as many brackets as its parameters want. A time is that of UTC: weekday, day, month, year, hour,
/// minute, second, two digits each, and a "#". Any other register is answered by (E12), a wrong checksum by NAK; other
/// addresses get no answer.
class Emera : public DeviceOf<emera::ecdev, emera::ecparam> {
 public:
    explicit Emera(emera::ecdev const& node) : address_(node.sid) {}
    Bytes answer(View request, double seconds) override;
    Bytes refusal(View request) override;

 private:
    struct Value {
        size_t bracket;
        bool is_time;
        Course course;
    };

    bool is_same(emera::ecdev const& node) const override { return node.sid == address_; }
    void add(emera::ecparam& param) override;
    /// What stands in the brackets; empty for a register that the meter doesn't have.
    std::string values_of(std::string const& name, double seconds) const;

    std::string address_;
    std::map<std::string, std::vector<Value>> registers_;  ///< by their names, with a '?' for each digit of a date
};

}  // namespace sim
