#pragma once

#include "drivers/mbtcp/pdu.h"
#include "drivers/modbus/device.h"

namespace mbtcp {

/// The dialogue with one TCP slave. Owned by its port, whose worker alone calls it. Values aren't held back: `debounce`
/// has no effect here.
class dev : public modbus::device, public FromNode<dev> {
 public:
    using modbus::device::device;

    BaseResult get_response(modbus::c_param* param) override;
    void write(modbus::c_param* param, std::string value, bholding::bitem const* item) override;
    bool read_span(unsigned char function, unsigned short address, unsigned short count,
                   std::vector<unsigned char>& data) override;

 private:
    int read_body(modbus::c_param const& param, int header_size, char const* label, bool is_write);
};

}  // namespace mbtcp
