#include "drivers/set4tm/pdu.h"

namespace set4tm {

using xCommon::ByteList;

void pdu::test(ByteList& out, unsigned char sid) {
    out.pop_list(ByteList{sid, 0x00}.with_crc());
}

void pdu::open(ByteList& out, unsigned char sid, std::string const& password) {
    ByteList body = {sid, 0x08};
    body.push_string(password);
    out.pop_list(body.with_crc());
}

void pdu::close(ByteList& out, unsigned char sid) {
    out.pop_list(ByteList{sid, 0x09, 0x01}.with_crc());
}

void pdu::read(ByteList& out, unsigned char sid) {
    out.pop_list(ByteList{sid, 0x01}.with_crc());
}

int pdu::exp_resp_size(c_param const* cp) {
    return meter::exp_resp_size(cp->value_type);
}

meter::Head pdu::check_head(unsigned char sid, std::span<unsigned char const> head) {
    return meter::check_head(sid, head);
}

}  // namespace set4tm
