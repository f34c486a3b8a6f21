#include "drivers/xdlms/mac_frame.h"

#include "drivers/xdlms/wpdu.h"
#include "foundation/crc.h"
#include "foundation/xlog.h"

namespace xdlms {

using xCommon::ByteList;
using xCommon::global_log;
using xCommon::lmtError;
using xCommon::net;
using xCommon::WordOrder;

namespace {

constexpr unsigned short eth_type = 0x88E5;
constexpr int mac_size = 6;
/// AC, length and the four zero bytes.
constexpr int tail_size = 6;

/// A MAC of the configuration may have any number of bytes.
bool holds(ByteList const& mac, unsigned char const* buf, int pos, int len) {
    return static_cast<int>(mac.size()) <= len - pos && mac.compare(buf + pos);
}

}  // namespace

void mac_frame::wrap(ByteList& out, ByteList const& src, ByteList const& dst, ByteList const& data) {
    ByteList frame;
    frame.pop_list(dst);
    frame.pop_list(src);
    frame.push_16(eth_type, WordOrder::big_endian);
    frame.push_8(0);
    frame.push_8(static_cast<unsigned char>(data.size()));
    frame.push_32(0, WordOrder::big_endian);
    frame.pop_list(data);
    out.pop_list(frame);
    out.push_32(frame.crc_32(), WordOrder::big_endian);
}

bool mac_frame::is_whole(std::span<unsigned char const> frame) {
    constexpr size_t around = head_size + wpdu::head_size + crc_size;
    if (frame.size() < around) {
        return false;
    }
    int length_position = head_size + wpdu::length_position;
    unsigned short const length = net::get_u16(frame.data(), length_position, WordOrder::big_endian);
    auto crc_position = static_cast<int>(frame.size()) - crc_size;
    return frame.size() == around + length && xCommon::crc32::crc_32(frame.data(), 0, crc_position) ==
                                                  net::get_u32(frame.data(), crc_position, WordOrder::big_endian);
}

dlms_reply mac_frame::parse(unsigned char const* buf, int& pos, int len, ByteList const& dst, ByteList const& src) {
    dlms_reply reply;
    if (len <= 0 || buf == nullptr) {
        global_log(lmtError, "mac_frame.parse : FRAME не получен.");
        return reply;
    }
    int crc_position = len;
    if (xCommon::crc32::crc_32(buf, 0, len) != net::get_u32(buf, crc_position, WordOrder::big_endian)) {
        global_log(lmtError, "mac_frame.parse : не совпали CRC.");
        return reply;
    }
    reply.crc_ok = true;
    if (len - pos < head_size) {
        global_log(lmtError, "mac_frame.parse : FRAME короче заголовка.");
        return reply;
    }
    if (!holds(dst, buf, pos, len)) {
        global_log(lmtError, "mac_frame.parse : не совпали мас-адреса получателя.");
        return reply;
    }
    pos += mac_size;
    if (!holds(src, buf, pos, len)) {
        global_log(lmtError, "mac_frame.parse : не совпали мас-адреса отправителя.");
        return reply;
    }
    pos += mac_size;
    if (net::get_u16(buf, pos, WordOrder::big_endian) != eth_type) {
        global_log(lmtError, "mac_frame.parse : EthType != 0x88E5.");
        return reply;
    }
    if (buf[pos] != 0) {
        global_log(lmtError, "mac_frame.parse : AC != 0.");
        return reply;
    }
    pos += tail_size;
    reply.ok = true;
    return reply;
}

}  // namespace xdlms
