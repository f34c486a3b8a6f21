#include "drivers/set4tm/pdu.h"

#include "drivers/meter/data_reply.h"
#include "drivers/meter/frame.h"

namespace set4tm {

using xCommon::ByteList;

namespace {

constexpr meter::HeadLines head_lines = {"операция НЕ выполнена : timeout.",
                                         "операция НЕ выполнена : не совпали SlaveId."};

ByteList body_of(unsigned char sid, unsigned char function) {
    ByteList body;
    body.push_8(sid);
    body.push_8(function);
    return body;
}

}  // namespace

void pdu::test(ByteList& out, unsigned char sid) {
    meter::push_frame(out, body_of(sid, 0x00));
}

void pdu::open(ByteList& out, unsigned char sid, std::string const& password) {
    ByteList body = body_of(sid, 0x08);
    body.push_string(password);
    meter::push_frame(out, body);
}

void pdu::close(ByteList& out, unsigned char sid) {
    ByteList body = body_of(sid, 0x09);
    body.push_8(0x01);
    meter::push_frame(out, body);
}

void pdu::read(ByteList& out, unsigned char sid) {
    meter::push_frame(out, body_of(sid, 0x01));
}

int pdu::exp_resp_size(c_param const* cp) {
    return meter::exp_resp_size(cp->value_type);
}

int pdu::check_head(CBase const* log, unsigned char sid, unsigned char const* buf, int n) {
    if (buf == nullptr || log == nullptr) {
        return 0;
    }
    int const count = meter::check_head(*log, head_lines, sid, buf, n);
    if (count != meter::head_refused) {
        return count;
    }
    parse_error(buf, n, sid, log);
    return 0;
}

int pdu::parse_error(unsigned char const* /*buf*/, int /*n*/, unsigned char /*sid*/, CBase const* /*log*/) {
    // The texts of the codes. What is to be told of them, and how, has no settled form yet: it belongs here.
    [[maybe_unused]] static constexpr auto const& texts = meter::error_texts;
    return 0;
}

}  // namespace set4tm
