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

/// The parts of a set's reply that both transports have. Faults are logged on the port's node, at level 3.
class SetReply {
 public:
    modbus_rtu_frame_header_t header;
    std::vector<unsigned char> data;
    /// Nothing of the answer can be under way still, or unread on the line.
    bool is_whole = false;

 protected:
    bool read_head(PortBase* port, unsigned char sid);
    bool read_data(PortBase* port);
    /// Two bytes of CRC over head and data.
    bool read_crc(PortBase* port);
    static constexpr char request_prefix[] = "RTU запрос : операция НЕ выполнена :";
};

}  // namespace modbus
