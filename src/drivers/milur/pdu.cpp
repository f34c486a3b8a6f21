#include "drivers/milur/pdu.h"

namespace milur {

using xCommon::ByteList;

namespace {

constexpr int password_size = 6;

}  // namespace

void pdu::open(ByteList& out, unsigned char sid, unsigned char level, unsigned char const* password) {
    ByteList body = {sid, 0x08, level};
    body.push_buf(password, password_size);
    out.pop_list(body.with_crc());
}

void pdu::close(ByteList& out, unsigned char sid) {
    out.pop_list(ByteList{sid, 0x09, 0x01}.with_crc());
}

void pdu::read(ByteList& out, unsigned char sid, unsigned char object) {
    out.pop_list(ByteList{sid, 0x01, object}.with_crc());
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
