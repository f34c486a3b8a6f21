#pragma once

#include <string>

#include "drivers/mediactrl/config.h"
#include "runtime/typed_device.h"

namespace mediactrl {

/// Turns each "/on" message into one frame. It polls nothing and publishes nothing.
class dev : public TypedDevice<c_dev, c_param>, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node);

    void ProcConnect() override;
    using DevBase::ProcMessage;
    bool ProcMessage(std::string& topic, std::string& payload) override;
    /// Every due parameter counts as polled with success.
    bool poll_param(CParam* /*param*/) override { return true; }

    /// Sends the command; no reply is awaited.
    void write(c_param* param, std::string const& value);

 private:
    void add_commands(CommandMap& commands, CParam& param) override;
};

}  // namespace mediactrl
