#include "drivers/mediactrl/pdu.h"

#include "foundation/xstring.h"

namespace mediactrl {

void pdu::command(xCommon::ByteList& out, std::string const& value) {
    xCommon::ByteList frame;
    frame.push_8('[');
    for (std::string const& part : xCommon::xString::Split(value, ".")) {
        frame.push_8(static_cast<unsigned char>(std::stoi(part)));
    }
    frame.push_8(']');
    out.pop_list(frame);
}

}  // namespace mediactrl
