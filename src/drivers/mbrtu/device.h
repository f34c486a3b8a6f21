#pragma once

#include "drivers/modbus/device.h"

namespace mbrtu {

using modbus::modbus_rtu_frame_t;

/// The dialogue with one RTU slave. Owned by its port, whose worker alone calls it.
class dev : public modbus::device, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node);

    /// Holds a value back that may chatter. Gives the value to publish, or an empty text.
    std::string check_debounce(modbus::c_param* param, std::string const& value) override;

 private:
    bool take_answer(Exchange& exchange, modbus::c_param const& param) override;
    bool take_echo(Exchange& exchange, modbus::c_param const& param) override;
    bool reconnect() override;
};

}  // namespace mbrtu
