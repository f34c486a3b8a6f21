#pragma once

#include <cstdint>
#include <string>

namespace xdlms {

/// What every layer's parser and every exchange gives.
struct dlms_reply {
    bool ok = false;      ///< the layer accepted the data
    bool crc_ok = false;  ///< the CRC matched; set by mac_sel and mac_frame alone
    std::string value;    ///< the decoded text; set by pdu alone
    int32_t size = 0;     ///< wpdu: length of its data; mac_sel: its size field
    uint16_t flags = 0;   ///< mac_sel: low byte of its control word
    uint8_t seq = 0;      ///< mac_sel: packet number, 0 to 15
};

}  // namespace xdlms
