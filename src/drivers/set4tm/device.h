#pragma once

#include "drivers/meter/device.h"
#include "drivers/set4tm/config.h"

namespace set4tm {

/// The dialogue with one meter, as far as it goes: no session is opened, no parameter is named, no value is decoded.
class dev : public meter::family_device<c_param>, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node);

 private:
    bool open_session() override;
    void close_session() override;
    bool ready_link(long long now) override;
    BaseResult get_response(c_param* param) override;
};

}  // namespace set4tm
