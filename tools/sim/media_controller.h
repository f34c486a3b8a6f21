#pragma once

#include "sim/device.h"

namespace sim {

/// Takes frames "[...]" and never answers; prints the bytes between the brackets, as decimal numbers, to standard
/// output.
class MediaController : public Device {
 public:
    Bytes answer(std::span<uint8_t const> request, double seconds) override;
};

}  // namespace sim
