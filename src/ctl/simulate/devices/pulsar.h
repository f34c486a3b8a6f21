#pragma once

#include <map>
#include <optional>
#include <utility>

#include "ctl/simulate/course.h"
#include "ctl/simulate/device.h"
#include "ctl/simulate/devices/pulsar_forms.h"
#include "drivers/pulsartcp/config.h"

namespace sim {

/// A water meter or a pulse counter of the Pulsar family. What it isn't configured for it refuses.
///
/// Function 1, mask of channels   floats of the channels asked for
/// Function 4                     the clock
/// Function 10, a parameter       its value
class Pulsar : public DeviceOf<pulsartcp::c_dev, pulsartcp::c_param> {
 public:
    explicit Pulsar(pulsartcp::c_dev const& node);
    Bytes answer(View request, double seconds) override;
    Bytes refusal(View request) override;

 private:
    struct Value {
        pulsar::Form form;
        Course course;
    };
    struct Answer {
        unsigned char function;
        Bytes payload;
    };

    bool is_same(pulsartcp::c_dev const& node) const override { return node.sid == number_; }
    void add(pulsartcp::c_param& param) override;
    Answer answer_to(View body, double seconds) const;
    Bytes channels(uint64_t mask, double seconds) const;
    Bytes framed(View request, Answer const& answer) const;

    unsigned int number_;
    std::string kind_;
    Bytes address_;
    std::map<std::pair<unsigned char, unsigned int>, Value> values_;  ///< by function and number
};

}  // namespace sim
