#include "drivers/xdlms/mac_frame.h"
#include "drivers/xdlms/mac_sel.h"
#include "drivers/xdlms/pdu.h"
#include "drivers/xdlms/wpdu.h"
#include "foundation/crc.h"
#include "fuzz/harness.h"

namespace {

using xCommon::ByteList;

/// A CRC behind the bytes, so that what lies behind its check is reached.
void push_crc(fuzz::Bytes& input) {
    unsigned int const crc = xCommon::crc32::crc_32(input.data(), 0, static_cast<int>(input.size()));
    for (unsigned int const shift : {24U, 16U, 8U, 0U}) {
        input.push_back(static_cast<unsigned char>(crc >> shift));
    }
    input.shrink_to_fit();
}

void frame(fuzz::Bytes& input) {
    ByteList mac;
    mac.push_string("\xEE\xEE\xEE\xEE\xEE\xEE");
    int const size = static_cast<int>(input.size());
    push_crc(input);
    int pos = 0;
    if (xdlms::mac_frame::parse(input.data(), pos, size, mac, mac).ok) {
        xdlms::pdu::parse(input.data() + pos, size - pos);
    }
}

const fuzz::Registrar registrar({
    {"dlms pdu",
     [](fuzz::Bytes& input) { xdlms::pdu::parse(input.data(), static_cast<int>(input.size())); },
     {"C4 01 C1 00 02 02 11 01 0A 02 41 42", "C4 01 C1 00 01 02 02 02 12 00 11 09 03 01 02 03 02 01 05 00 00 00 07",
      "C5 01 C1 0B", "C7 01 C1 00", "C4 01 C1 00 15 01 02 03 04 05 06 07 08",
      "C4 01 C1 00 01 01 01 01 01 01 01 01 01 01 01 01 01 01 11 01"},
     300},
    {"dlms wpdu",
     [](fuzz::Bytes& input) {
         int pos = 0;
         // The callers make sure of the 8 bytes of the head.
         if (input.size() >= xdlms::wpdu::head_size) {
             xdlms::wpdu::parse(input.data(), pos, 1, 22);
         }
     },
     {"00 01 00 16 00 01 00 05"}},
    {"dlms mac_frame", frame, {"EE EE EE EE EE EE EE EE EE EE EE EE 88 E5 00 05 00 00 00 00 C4 01 C1 00 11 07"}},
    {"dlms mac_sel",
     [](fuzz::Bytes& input) { xdlms::mac_sel::parse(input.data(), 0, static_cast<int>(input.size())); },
     {"02 00 00 00 30 39 01 00 00 00 00 21 00 00 00 00"}},
});

}  // namespace
