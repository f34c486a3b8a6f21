#include "drivers/xdlms/mac_frame.h"

#include "foundation/crc.h"

namespace xdlms {

using xCommon::ByteList;
using xCommon::net;
using xCommon::WordOrder;

namespace {

constexpr unsigned short eth_type = 0x88E5;
constexpr int mac_size = 6;
constexpr int ac_position = 14;
constexpr unsigned int flags_mask = 0xFF;
constexpr unsigned int seq_shift = 8;
constexpr unsigned int seq_mask = 0x0F;

/// The word behind `length` bytes from `start` is their CRC.
bool crc_fits(unsigned char const* buf, int start, int length) {
    int crc_position = start + length;
    return xCommon::crc32::crc_32(buf, start, length) == net::get_u32(buf, crc_position, WordOrder::big_endian);
}

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
    return frame.size() == around + length && crc_fits(frame.data(), 0, static_cast<int>(frame.size()) - crc_size);
}

dlms_reply mac_frame::parse(unsigned char const* buf, int& pos, int len, ByteList const& dst, ByteList const& src) {
    dlms_reply reply;
    if (len <= 0 || buf == nullptr) {
        reply.faults = {"mac_frame.parse : FRAME не получен."};
        return reply;
    }
    if (!crc_fits(buf, 0, len)) {
        reply.faults = {"mac_frame.parse : не совпали CRC."};
        return reply;
    }
    reply.crc_ok = true;
    int type_position = pos + 2 * mac_size;
    if (len - pos < head_size) {
        reply.faults = {"mac_frame.parse : FRAME короче заголовка."};
    } else if (!holds(dst, buf, pos, len)) {
        reply.faults = {"mac_frame.parse : не совпали мас-адреса получателя."};
    } else if (!holds(src, buf, pos + mac_size, len)) {
        reply.faults = {"mac_frame.parse : не совпали мас-адреса отправителя."};
    } else if (net::get_u16(buf, type_position, WordOrder::big_endian) != eth_type) {
        reply.faults = {"mac_frame.parse : EthType != 0x88E5."};
    } else if (buf[pos + ac_position] != 0) {
        reply.faults = {"mac_frame.parse : AC != 0."};
    } else {
        pos += head_size;
        reply.ok = true;
    }
    return reply;
}

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
        reply.faults = {"mac_sel.parse : SEL не получен."};
        return reply;
    }
    int cursor = pos + mac_size;
    unsigned int const control = net::get_u16(buf, cursor, WordOrder::big_endian);
    reply.flags = static_cast<uint16_t>(control & flags_mask);
    reply.seq = static_cast<uint8_t>((control >> seq_shift) & seq_mask);
    reply.size = net::get_i32(buf, cursor, WordOrder::big_endian);
    reply.crc_ok = crc_fits(buf, pos, len - mac_frame::crc_size);
    if (!reply.crc_ok) {
        reply.faults = {"mac_sel.parse : не совпали CRC."};
    }
    reply.ok = reply.crc_ok && reply.flags == 0 && reply.size > 0;
    return reply;
}

}  // namespace xdlms
