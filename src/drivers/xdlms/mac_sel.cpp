#include "drivers/xdlms/mac_sel.h"

#include "foundation/crc.h"
#include "foundation/xlog.h"

namespace xdlms {

using xCommon::ByteList;
using xCommon::lmtError;
using xCommon::net;
using xCommon::WordOrder;

namespace {

constexpr int mac_size = 6;
constexpr int crc_size = 4;
constexpr unsigned int flags_mask = 0xFF;
constexpr unsigned int seq_shift = 8;
constexpr unsigned int seq_mask = 0x0F;

}  // namespace

void mac_sel::wrap(ByteList& out, ByteList const& mac, int size, uint16_t control) {
    ByteList frame;
    frame.pop_list(mac);
    frame.push_16(control, WordOrder::big_endian);
    frame.push_32(static_cast<unsigned int>(size), WordOrder::big_endian);
    out.pop_list(frame);
    out.push_32(frame.crc_32(), WordOrder::big_endian);
}

dlms_reply mac_sel::parse(unsigned char const* buf, int pos, int len) {
    dlms_reply reply;
    if (buf == nullptr || len < frame_size) {
        xCommon::global_log(lmtError, "mac_sel.parse : SEL не получен.");
        return reply;
    }
    int cursor = pos + mac_size;
    unsigned int const control = net::get_u16(buf, cursor, WordOrder::big_endian);
    reply.flags = static_cast<uint16_t>(control & flags_mask);
    reply.seq = static_cast<uint8_t>((control >> seq_shift) & seq_mask);
    reply.size = net::get_i32(buf, cursor, WordOrder::big_endian);
    if (xCommon::crc32::crc_32(buf, pos, len - crc_size) != net::get_u32(buf, cursor, WordOrder::big_endian)) {
        xCommon::global_log(lmtError, "mac_sel.parse : не совпали CRC.");
        return reply;
    }
    reply.crc_ok = true;
    reply.ok = reply.flags == 0 && reply.size > 0;
    return reply;
}

}  // namespace xdlms
