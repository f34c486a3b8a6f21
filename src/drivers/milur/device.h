#pragma once

#include "drivers/meter/device.h"
#include "drivers/milur/config.h"

namespace milur {

/// The dialogue with one meter. A session has to be opened first; it stands until the meter says that it is closed.
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
    BaseResult get_response(c_param* param);
};

}  // namespace milur
