#include "drivers/set4tm/pdu.h"

namespace set4tm {

using xCommon::ByteList;

namespace {

ByteList body_of(unsigned char sid, unsigned char function) {
    ByteList body;
    body.push_8(sid);
    body.push_8(function);
    return body;
}

}  // namespace

void pdu::test(ByteList& out, unsigned char sid) {
    out.push_with_crc(body_of(sid, 0x00));
}

void pdu::open(ByteList& out, unsigned char sid, std::string const& password) {
    ByteList body = body_of(sid, 0x08);
    body.push_string(password);
    out.push_with_crc(body);
}

void pdu::close(ByteList& out, unsigned char sid) {
    ByteList body = body_of(sid, 0x09);
    body.push_8(0x01);
    out.push_with_crc(body);
}

void pdu::read(ByteList& out, unsigned char sid) {
    out.push_with_crc(body_of(sid, 0x01));
}

int pdu::exp_resp_size(c_param const* cp) {
    return meter::exp_resp_size(cp->value_type);
}

meter::Head pdu::check_head(unsigned char sid, std::span<unsigned char const> head) {
    return meter::check_head(sid, head);
}

}  // namespace set4tm
