#include "drivers/milur/pdu.h"

#include <algorithm>

#include "drivers/meter/data_reply.h"
#include "drivers/meter/frame.h"

namespace milur {

using xCommon::ByteList;

namespace {

constexpr int password_size = 6;

constexpr meter::HeadLines head_lines = {"milur::check_head : операция НЕ выполнена: timeout.",
                                         "milur::check_head : операция НЕ выполнена : не совпали SlaveId."};

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
    meter::push_frame(out, body);
}

void pdu::close(ByteList& out, unsigned char sid) {
    meter::push_frame(out, body_of(sid, 0x09, 0x01));
}

void pdu::read(ByteList& out, unsigned char sid, unsigned char object) {
    meter::push_frame(out, body_of(sid, 0x01, object));
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
    return parse_error(buf, n, sid, log) == error_closed ? head_closed : 0;
}

int pdu::parse_error(unsigned char const* buf, int n, unsigned char sid, CBase const* log) {
    if (buf == nullptr || n < meter::head_size || buf[0] != sid) {
        return error_rubbish;
    }
    int const code = std::min<int>(buf[2], error_rubbish);
    if (log != nullptr) {
        log->Logf(xCommon::lmtError, "milur::parse_error : операция НЕ выполнена : %s.",
                  code == error_rubbish ? "Получен мусор" : meter::error_texts.at(static_cast<size_t>(code)));
    }
    return code;
}

}  // namespace milur
