#pragma once

#include "drivers/meter/device.h"
#include "drivers/milur/config.h"

namespace milur {

/// The dialogue with one meter. A session has to be opened first; it stands until the meter says that it is closed.
class dev : public meter::family_device<c_param>, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node);

 private:
    bool open_session() override;
    void close_session() override;
    bool ready_link(long long now) override;
    BaseResult get_response(c_param* param) override;
};

}  // namespace milur
