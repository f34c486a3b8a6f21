#pragma once

#include "drivers/merc_2xx/config.h"
#include "drivers/meter/device.h"

namespace merc_2xx {

/// The dialogue with one meter. A meter answers on a channel that was opened with a password, and closes it by itself
/// when it hears nothing for long.
class dev : public meter::family_device<c_param>, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node);

    bool poll_param(CParam* param) override;

    /// When the meter was last heard, on the clock of the poll cycle; 0 when the channel is known to be closed.
    long long last_seen = 0;

 private:
    bool open_session() override;
    void close_session() override;
    bool ready_link(long long now) override;
    BaseResult get_response(c_param* param) override;
    int tell_status(CBase const& node, std::span<unsigned char const> reply) const;
};

}  // namespace merc_2xx
