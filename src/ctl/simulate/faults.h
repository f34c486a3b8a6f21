#pragma once

#include <random>

#include "ctl/simulate/device.h"

namespace sim {

/// Makes devices unreliable: of their answers a part is lost, cut, miscounted, behind noise, or a refusal.
class Faults {
 public:
    /// `rate` from 0, none, to 1, every answer.
    explicit Faults(double rate) : rate_(rate), engine_(std::random_device()()) {}

    /// This one is to go wrong.
    bool strikes();
    /// What goes out in place of the reply; empty for silence.
    Bytes spoilt(Device& device, View request, Bytes const& reply);
    size_t below(size_t limit);

 private:
    double rate_;
    std::mt19937 engine_;
};

}  // namespace sim
