#pragma once

#include "drivers/mbrtu/pdu.h"
#include "drivers/modbus/device.h"

namespace mbrtu {

/// The dialogue with one RTU slave. Owned by its port, whose worker alone calls it.
class dev : public modbus::device, public FromNode<dev> {
 public:
    using modbus::device::device;

    BaseResult get_response(modbus::c_param* param) override;
    void write(modbus::c_param* param, std::string value, bholding::bitem const* item) override;
    /// Holds a value back that may chatter. Gives the value to publish, or an empty text.
    std::string check_debounce(modbus::c_param* param, std::string const& value) override;
    bool read_span(unsigned char function, unsigned short address, unsigned short count,
                   std::vector<unsigned char>& data) override;

 private:
    void reconnect();
};

}  // namespace mbrtu
