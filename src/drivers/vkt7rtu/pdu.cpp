#include "drivers/vkt7rtu/pdu.h"

#include "foundation/crc.h"
#include "foundation/xexception.h"

namespace vkt7rtu {

using xCommon::ByteList;
using xCommon::WordOrder;

namespace {

constexpr unsigned char function_read = 0x03;
constexpr unsigned char function_write = 0x10;

constexpr unsigned short command_select = 0x3FFF;
constexpr unsigned short command_read = 0x3FFE;
constexpr unsigned short command_kind = 0x3FFD;
constexpr unsigned short command_active = 0x3FFC;

constexpr unsigned int element_base = 0x40000000;

struct Element {
    unsigned char number;
    unsigned short size;
};

/// Texts first, the precisions behind them, in the order in which they are read off the answer.
constexpr Element properties[] = {{0x2C, 7}, {0x2D, 7}, {0x2E, 7}, {0x2F, 7}, {0x30, 7}, {0x35, 7},
                                  {0x37, 7}, {0x38, 7}, {0x39, 1}, {0x3B, 1}, {0x3C, 1}, {0x3D, 1},
                                  {0x42, 1}, {0x46, 1}, {0x45, 1}, {0x4C, 1}};
constexpr unsigned char properties_size = 96;
/// Size that a register is asked for with, whatever it has.
constexpr unsigned short register_size = 4;

void push_element(ByteList& out, unsigned short number, unsigned short size) {
    out.push_32(element_base + number, WordOrder::little_endian);
    out.push_16(size, WordOrder::little_endian);
}

void push_frame(ByteList& out, char const* operation, CParam const* param, unsigned char sid, unsigned char function,
                unsigned short command, ByteList const& data = {}) {
    if (param == nullptr) {
        throw xCommon::xExceptionf("pdu::%s : param == %p", operation, static_cast<void const*>(param));
    }
    ByteList frame;
    frame.push_8(sid);
    frame.push_8(function);
    frame.push_16(command, WordOrder::big_endian);
    frame.push_16(0, WordOrder::big_endian);
    frame.pop_list(data);
    out.pop_list(frame.with_crc());
}

}  // namespace

void pdu::open_session(ByteList& out, unsigned char sid, CParam const* param) {
    ByteList data;
    constexpr unsigned char opening[] = {0xCC, 0x80, 0, 0, 0};
    data.push_buf(opening, sizeof(opening));
    push_frame(out, "open_session", param, sid, function_write, command_select, data);
}

void pdu::read_data(ByteList& out, unsigned char sid, CParam const* param) {
    push_frame(out, "read_data", param, sid, function_read, command_read);
}

void pdu::read_active_elements_list(ByteList& out, unsigned char sid, CParam const* param) {
    push_frame(out, "read_active_elements_list", param, sid, function_read, command_active);
}

void pdu::write_values(ByteList& out, unsigned char sid, CParam const* param, unsigned char kind) {
    ByteList data;
    data.push_8(2);
    data.push_8(kind);
    data.push_8(0);
    push_frame(out, "write_values", param, sid, function_write, command_kind, data);
}

void pdu::write_elements_for_read(ByteList& out, unsigned char sid, CParam const* param) {
    ByteList data;
    data.push_8(properties_size);
    for (Element const& element : properties) {
        push_element(data, element.number, element.size);
    }
    push_frame(out, "write_elements_for_read", param, sid, function_write, command_select, data);
}

void pdu::read_parameters(ByteList& out, unsigned char sid, CParam const* param, unsigned short reg_addr) {
    ByteList data;
    data.push_8(6);
    push_element(data, reg_addr, register_size);
    push_frame(out, "read_parameters", param, sid, function_write, command_select, data);
}

bool pdu::is_whole(std::span<unsigned char const> frame) {
    constexpr size_t refusal_size = 5;
    constexpr size_t write_reply_size = 8;
    if (frame.size() < refusal_size) {
        return false;
    }
    size_t size = 0;
    if ((frame[1] & xCommon::refused_bit) != 0) {
        size = refusal_size;
    } else if (frame[1] == function_read) {
        size = head_size + frame[2] + crc_size;
    } else if (frame[1] == function_write) {
        size = write_reply_size;
    }
    return frame.size() == size && check_crc(frame);
}

bool pdu::check_crc(std::span<unsigned char const> frame) {
    return xCommon::crc16::ends(frame);
}

}  // namespace vkt7rtu
