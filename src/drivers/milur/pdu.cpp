#include "drivers/milur/pdu.h"

namespace milur {

using xCommon::ByteList;

namespace {

constexpr int password_size = 6;

ByteList body_of(unsigned char sid, unsigned char function, unsigned char third) {
    ByteList body;
    for (unsigned char const byte : {sid, function, third}) {
        body.push_8(byte);
    }
    return body;
}

}  // namespace

void pdu::open(ByteList& out, unsigned char sid, unsigned char level, unsigned char const* password) {
    ByteList body = body_of(sid, 0x08, level);
    body.push_buf(password, password_size);
    out.push_with_crc(body);
}

void pdu::close(ByteList& out, unsigned char sid) {
    out.push_with_crc(body_of(sid, 0x09, 0x01));
}

void pdu::read(ByteList& out, unsigned char sid, unsigned char object) {
    out.push_with_crc(body_of(sid, 0x01, object));
}

int pdu::exp_resp_size(c_param const* cp) {
    return meter::exp_resp_size(cp->value_type);
}

meter::Head pdu::check_head(unsigned char sid, std::span<unsigned char const> head) {
    meter::Head result = meter::check_head(sid, head);
    if (result.fault == xCommon::HeadFault::refused && parse_error(head, sid) == error_closed) {
        result.count = head_closed;
    }
    return result;
}

int pdu::parse_error(std::span<unsigned char const> reply, unsigned char sid) {
    return meter::error_code(sid, reply);
}

}  // namespace milur
