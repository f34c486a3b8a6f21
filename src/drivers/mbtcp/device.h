#pragma once

#include <array>
#include <memory>

#include "drivers/mbtcp/pdu.h"
#include "drivers/modbus/device.h"

namespace mbtcp {

/// Reply to one request of a register set: MBAP header, head, data.
class modbus_tcp_frame_t : public modbus::modbus_rtu_frame_t {
 public:
    /// True for a complete one whose length field fits its byte count.
    bool read(PortBase* port, unsigned char sid, std::string const& type) override;
    void trace(PortBase const& port) const override;

    std::array<unsigned char, pdu::mbap_size> mbap{};
};

/// The dialogue with one TCP slave. Owned by its port, whose worker alone calls it. Values aren't held back: `debounce`
/// has no effect here.
class dev : public modbus::device, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node);

 private:
    bool take_body(Exchange& exchange, modbus::c_param const& param, char const* no_body);
    bool take_answer(Exchange& exchange, modbus::c_param const& param) override;
    bool take_echo(Exchange& exchange, modbus::c_param const& param) override;
    std::unique_ptr<modbus::modbus_rtu_frame_t> set_reply() const override;
};

}  // namespace mbtcp
