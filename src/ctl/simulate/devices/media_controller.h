#pragma once

#include "ctl/simulate/device.h"
#include "drivers/mediactrl/config.h"

namespace sim {

/// Takes frames "[...]" and never answers; prints the bytes between the brackets, as decimal numbers, to standard
/// output.
class MediaController : public DeviceOf<mediactrl::c_dev, mediactrl::c_param> {
 public:
    explicit MediaController(mediactrl::c_dev const& /*node*/) {}
    Bytes answer(View request, double seconds) override;

 private:
    bool is_same(mediactrl::c_dev const& /*node*/) const override { return true; }
    void add(mediactrl::c_param& /*param*/) override {}
};

}  // namespace sim
