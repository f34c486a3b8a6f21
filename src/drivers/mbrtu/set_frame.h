#pragma once

#include "drivers/modbus/set_reply.h"

namespace mbrtu {

/// Reply to one request of a register set: head, data, CRC.
class modbus_rtu_frame_t : public modbus::SetReply {
 public:
    /// Reads it off the port's line; true for a complete one. The CRC is read for the type word "mb-rtu" alone.
    bool read(PortBase* port, unsigned char sid, std::string const& type);
};

}  // namespace mbrtu
