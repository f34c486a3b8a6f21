#include "drivers/xdlms/wpdu.h"

#include "foundation/xlog.h"

namespace xdlms {

using xCommon::lmtError;
using xCommon::net;
using xCommon::WordOrder;

namespace {

constexpr unsigned short version = 1;

}  // namespace

void wpdu::wrap(xCommon::ByteList& out, uint16_t src, uint16_t dst, xCommon::ByteList const& data) {
    for (uint16_t const field : {version, src, dst, static_cast<uint16_t>(data.size())}) {
        out.push_16(field, WordOrder::big_endian);
    }
    out.pop_list(data);
}

dlms_reply wpdu::parse(unsigned char const* buf, int& pos, uint16_t /*src*/, uint16_t dst) {
    dlms_reply reply;
    if (buf == nullptr) {
        return reply;
    }
    unsigned short const received_version = net::get_u16(buf, pos, WordOrder::big_endian);
    unsigned short const sender = net::get_u16(buf, pos, WordOrder::big_endian);
    net::get_u16(buf, pos, WordOrder::big_endian);
    reply.size = net::get_u16(buf, pos, WordOrder::big_endian);
    if (received_version != version) {
        xCommon::global_log(lmtError, "wpdu.parse : версия протокола не равна 0x0001.");
    } else if (sender != dst) {
        xCommon::global_logf(lmtError, "wpdu.parse : не тот отправитель : %d != %d.", dst, sender);
    } else {
        reply.ok = true;
    }
    return reply;
}

}  // namespace xdlms
