#pragma once

#include <string>

#include "drivers/mediactrl/config.h"
#include "runtime/typed_device.h"

namespace mediactrl {

/// Turns each "/on" message into one frame. It polls nothing and publishes nothing.
class dev : public CommandedDevice<TypedDevice<c_dev, c_param>, c_param>, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node);

    /// Every due parameter counts as polled with success.
    bool poll_param(CParam* /*param*/) override { return true; }

    /// Sends the command; no reply is awaited.
    void write(c_param* param, std::string const& value) override;

 private:
    void add_commands(CommandMap& commands, CParam& param) override;
};

}  // namespace mediactrl
