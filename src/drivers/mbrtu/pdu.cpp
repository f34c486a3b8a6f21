#include "drivers/mbrtu/pdu.h"

#include "foundation/crc.h"

namespace mbrtu {

void pdu::wrap(xCommon::ByteList& out, xCommon::ByteList const& unit) {
    out.pop_list(unit.with_crc());
}

bool pdu::check_crc(std::span<unsigned char const> frame) {
    return xCommon::crc16::ends(frame);
}

}  // namespace mbrtu
