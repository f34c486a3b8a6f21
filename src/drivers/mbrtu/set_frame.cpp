#include "drivers/mbrtu/set_frame.h"

namespace mbrtu {

bool modbus_rtu_frame_t::read(PortBase* port, unsigned char sid, std::string const& type) {
    return read_head(port, sid) && read_data(port) && (type != "mb-rtu" || read_crc(port));
}

}  // namespace mbrtu
