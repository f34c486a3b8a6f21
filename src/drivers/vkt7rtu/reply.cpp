#include "drivers/vkt7rtu/reply.h"

#include <algorithm>
#include <utility>

#include "drivers/vkt7rtu/pdu.h"
#include "foundation/byte_list.h"

namespace vkt7rtu {

using xCommon::lmtError;
using xCommon::lmtTrace;
using xCommon::net;
using xCommon::WordOrder;
using xCommon::xString;

namespace {

constexpr size_t byte_count_offset = 2;
constexpr size_t data_offset = 3;
constexpr size_t version_offset = 64;
/// Properties ahead of the precisions.
constexpr size_t text_count = 8;
/// What stands behind a value, and belongs to the byte count.
constexpr size_t flags_size = 2;
constexpr size_t float_size = 4;

constexpr char too_short[] = "ответ короче объявленного : значение НЕ получено.";

bool is_number(size_t size) {
    return size == 2 || size == 4;
}

/// Offset of the last byte that belongs to the data, as the frame has it.
size_t last_offset(Reply::Frame frame) {
    return frame.size() > byte_count_offset ? frame[byte_count_offset] + byte_count_offset : 0U;
}

std::string with_point(std::string text, int digits) {
    if (digits <= 0) {
        return text;
    }
    auto const places = static_cast<size_t>(digits);
    // Only a shorter text gets zeros: one of just so many digits begins with the point.
    if (text.size() < places) {
        text.insert(0, places + 1 - text.size(), '0');
    }
    return text.insert(text.size() - places, 1, '.');
}

}  // namespace

std::optional<unsigned char> Reply::server_version(Frame frame) {
    return frame.size() > version_offset + pdu::crc_size ? std::optional(frame[version_offset]) : std::nullopt;
}

Reply::Precisions Reply::precisions(CParam const& param, Frame frame) {
    Precisions result = {};
    size_t const last = last_offset(frame);
    size_t offset = data_offset;
    for (size_t index = 0; offset <= last && offset < frame.size(); ++index) {
        if (index < text_count) {
            size_t const flags = offset + frame[offset] + 2U;
            if (flags + 1 >= frame.size()) {
                break;
            }
            param.Logf(lmtTrace, "Свойство: [quality: 0x%02x, alarm: 0x%02x]", frame[flags], frame[flags + 1]);
            offset = flags + 2;
        } else {
            if (offset + 2 >= frame.size()) {
                break;
            }
            param.Logf(lmtTrace, "Точность: [0x%02x, quality: 0x%02x, alarm: 0x%02x]", frame[offset], frame[offset + 1],
                       frame[offset + 2]);
            if (index - text_count < result.size()) {
                result[index - text_count] = frame[offset];
            }
            offset += 3;
        }
    }
    return result;
}

bool Reply::has_register(CParam const& param, Frame frame, unsigned short reg_addr) {
    constexpr size_t element_size = 6;
    constexpr size_t size_offset = 4;
    size_t const last = last_offset(frame);
    for (size_t offset = data_offset; offset <= last && offset + size_offset < frame.size(); offset += element_size) {
        param.Logf(lmtTrace, "Регистр [0x%02x], размер: [0x%02x]", frame[offset], frame[offset + size_offset]);
        if (frame[offset] == reg_addr) {
            return true;
        }
    }
    param.Logf(lmtError, "В перечне активных элементов адрес [0x%02x] не найден", reg_addr);
    return false;
}

std::string Reply::value(CParam const& param, Frame frame, RegisterRow const& row, int digits) {
    size_t const arrived = frame.size() - std::min<size_t>(frame.size(), pdu::crc_size);
    if (arrived < data_offset) {
        param.Log(lmtError, too_short);
        return {};
    }
    size_t const held = arrived - data_offset;
    // Modulo 256: a byte count of 0 or 1 is a size that no number has, like most others.
    size_t const size = static_cast<unsigned char>(frame[byte_count_offset] - flags_size);
    if (size + flags_size <= held) {
        size_t const at = data_offset + size;
        param.Logf(lmtTrace, "Байт качества: 0x%02x, байт нештатных ситуаций: 0x%02x", frame[at], frame[at + 1]);
    }
    if (row.is_float) {
        // Of four bytes, whatever the byte count says.
        if (held < float_size) {
            param.Log(lmtError, "ответ короче числа с плавающей точкой : значение НЕ получено.");
            return {};
        }
        int position = data_offset;
        return xString::Format("%f", net::get_f32(frame.data(), position, WordOrder::little_endian));
    }
    if (is_number(size) && held < size) {
        param.Log(lmtError, too_short);
        return {};
    }
    return with_point(number(frame, size), digits);
}

/// Empty for a size that no number has.
std::string Reply::number(Frame frame, size_t size) {
    int position = data_offset;
    if (!is_number(size)) {
        return {};
    }
    return xString::Format("%u", size == 2 ? net::get_u16(frame.data(), position, WordOrder::little_endian)
                                           : net::get_u32(frame.data(), position, WordOrder::little_endian));
}

}  // namespace vkt7rtu
