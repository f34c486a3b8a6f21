#pragma once

#include <string>
#include <vector>

#include "runtime/port_base.h"

namespace modbus {

/// Head of a reply.
struct modbus_rtu_frame_header_t {
    unsigned char address = 0;
    unsigned char function = 0;
    unsigned char count = 0;  ///< of the data bytes, or the exception code
};

/// Reply to one request of a register set: head, data, and for the type word "mb-rtu" a CRC, whatever the transport.
/// Faults are logged on the port's node, at level 3.
class modbus_rtu_frame_t {
 public:
    virtual ~modbus_rtu_frame_t() = default;
    /// Reads it off the port's line; true for a complete one.
    virtual bool read(PortBase* port, unsigned char sid, std::string const& type);
    /// For option -h.
    virtual void trace(PortBase const& port) const;

    modbus_rtu_frame_header_t header;
    std::vector<unsigned char> data;
    /// Nothing of the answer can be under way still, or unread on the line.
    bool is_whole = false;
};

}  // namespace modbus
