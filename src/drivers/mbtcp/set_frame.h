#pragma once

#include <array>

#include "drivers/mbtcp/pdu.h"
#include "drivers/modbus/set_reply.h"

namespace mbtcp {

/// Reply to one request of a register set: MBAP header, head, data.
class modbus_tcp_frame_t : public modbus::SetReply {
 public:
    /// Reads it off the port's line; true for a complete one whose length field fits its byte count. A CRC is read for
    /// the type word "mb-rtu" alone.
    bool read(PortBase* port, unsigned char sid, std::string const& type);

    std::array<unsigned char, pdu::mbap_size> mbap{};
};

}  // namespace mbtcp
