#pragma once

#include "drivers/meter/device.h"
#include "drivers/set4tm/config.h"

namespace set4tm {

/// The dialogue with one meter, as far as it goes: no session is opened, no parameter is named, no value is decoded.
class dev : public meter::device, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node);

    /// The outcome is `opened`.
    bool Start() override;
    void Stop() override;

 private:
    bool is_own(CParam const& param) const override;
    bool ready_link(long long now) override;
    BaseResult read(CParam& param) override;
    bool is_refused(std::span<unsigned char const> reply) override;
    void _start();
    void _stop();
    BaseResult get_response(c_param* param);
};

}  // namespace set4tm
