#pragma once

#include <array>

#include "drivers/mbtcp/pdu.h"
#include "drivers/modbus/set_reply.h"

namespace mbtcp {

/// Reply to one request of a register set: MBAP header, head, data.
class modbus_tcp_frame_t : public modbus::modbus_rtu_frame_t {
 public:
    /// True for a complete one whose length field fits its byte count.
    bool read(PortBase* port, unsigned char sid, std::string const& type) override;
    void trace(PortBase const& port) const override;

    std::array<unsigned char, pdu::mbap_size> mbap{};
};

}  // namespace mbtcp
