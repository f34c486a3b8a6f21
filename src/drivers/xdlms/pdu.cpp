#include "drivers/xdlms/pdu.h"

#include "foundation/xstring.h"

namespace xdlms {

using xCommon::ByteList;
using xCommon::net;
using xCommon::WordOrder;
using xCommon::xString;

namespace {

constexpr unsigned char get_request = 0xC0;
constexpr unsigned char set_request = 0xC1;
constexpr unsigned char action_request = 0xC3;
constexpr unsigned char get_response = 0xC4;
constexpr unsigned char set_response = 0xC5;
constexpr unsigned char action_response = 0xC7;
constexpr unsigned char request_type = 0x01;
constexpr unsigned char invoke_id = 0xC1;
constexpr unsigned short wrapper_version = 1;
constexpr int minimum_size = 5;
/// Position of the result, or of the byte that says whether data follows.
constexpr int result_position = 3;
/// Deeper arrays and structures don't occur, and each level costs stack.
constexpr int deepest_level = 64;

struct AccessResult {
    int code;
    char const* text;
};

/// Data-Access-Result, as far as meters in service give it.
constexpr AccessResult access_results[] = {
    {1, "hardware-fault (1)."},
    {2, "temporary-failure (2)."},
    {3, "read-write-denied (3)."},
    {4, "object-undefined (4)."},
    {9, "object-class-inconsistent (9)."},
    {11, "object-unavailable (11)."},
    {12, "type-unmatched (12)."},
    {13, "scope-of-access-violated (13)."},
    {14, "data-block-unavailable (14)."},
    {15, "long-get-aborted (15)."},
    {16, "no-long-get-in-progress (16)."},
    {17, "long-set-aborted (17)."},
    {18, "no-long-set-in-progress (18)."},
    {19, "data-block-number-invalid (19)."},
    {250, "other-reason (250)."},
};

std::string access_text(int code) {
    for (AccessResult const& known : access_results) {
        if (known.code == code) {
            return known.text;
        }
    }
    return xString::Format("unknown error : %d.", code);
}

void head(ByteList& out, unsigned char request, cad const& ad) {
    out.push_8(request);
    out.push_8(request_type);
    out.push_8(invoke_id);
    ad.to_list(out);
    out.push_8(0);
}

/// Reads the items of one response, never behind its end.
class ItemReader {
 public:
    ItemReader(unsigned char const* buf, int len, int& pos, std::vector<std::string>& faults)
        : buf_(buf), len_(len), pos_(pos), faults_(faults) {}

    std::string item(int level);

 private:
    bool has(int count) const { return len_ - pos_ >= count; }
    /// Nothing more is read behind this.
    std::string broken_off(char const* fault = "pdu::parse_item : данные обрываются.");
    std::string byte() { return has(1) ? std::to_string(buf_[pos_++]) : broken_off(); }
    template <typename Value>
    std::string number(Value (*read)(unsigned char const*, int&, WordOrder)) {
        return has(sizeof(Value)) ? std::to_string(read(buf_, pos_, WordOrder::big_endian)) : broken_off();
    }
    std::string list(char const* marker, int level);
    std::string text(bool as_hex);

    unsigned char const* buf_;
    int len_;
    int& pos_;
    std::vector<std::string>& faults_;
};

std::string ItemReader::broken_off(char const* fault) {
    faults_.emplace_back(fault);
    pos_ = len_;
    return {};
}

std::string ItemReader::item(int level) {
    if (!has(1)) {
        return {};
    }
    int const tag = buf_[pos_++];
    switch (tag) {
        case 1:
            return list("#a#", level);
        case 2:
            return list("#s#", level);
        case 4:  // a bit string: nothing of it is read
            return {};
        case 5:
            return number(net::get_i32);
        case 6:
            return number(net::get_u32);
        case 9:
            return text(true);
        case 10:
            return text(false);
        case 15:  // the sign of an int8 is ignored: configurations in service expect 0 to 255
        case 17:
        case 22:
            return byte();
        case 16:
            return number(net::get_i16);
        case 18:
            return number(net::get_u16);
        case 20:
            return number(net::get_i64);
        case 21:
            return number(net::get_u64);
        default:
            faults_.push_back(xString::Format("pdu::parse_item : неопознанный тэг данных : %d.", tag));
            return {};
    }
}

std::string ItemReader::list(char const* marker, int level) {
    if (level > deepest_level) {
        return broken_off("pdu::parse_item : слишком глубокая вложенность данных.");
    }
    if (!has(1)) {
        return broken_off();
    }
    int const count = buf_[pos_++];
    std::string result;
    for (int index = 0; index < count; ++index) {
        std::string const text = item(level + 1);
        if (text.empty()) {
            return result;
        }
        result += marker;
        result += text;
    }
    return count == 0 ? result : result + marker;
}

std::string ItemReader::text(bool as_hex) {
    if (!has(1)) {
        return broken_off();
    }
    int const count = buf_[pos_++];
    if (!has(count)) {
        return broken_off();
    }
    std::string result;
    for (int index = 0; index < count; ++index) {
        unsigned char const byte = buf_[pos_++];
        result += as_hex ? xString::Format("%02X", byte) : std::string(1, static_cast<char>(byte));
    }
    return result;
}

}  // namespace

void pdu::get(ByteList& out, cad const& ad) {
    head(out, get_request, ad);
}

void pdu::set(ByteList& out, cad const& ad, ByteList const& data) {
    if (data.empty()) {
        return;
    }
    head(out, set_request, ad);
    out.pop_list(data);
}

void pdu::action(ByteList& out, cad const& ad) {
    head(out, action_request, ad);
    out.push_8(0);
    out.push_8(0);
}

dlms_reply pdu::parse(unsigned char const* buf, int len) {
    dlms_reply reply;
    if (buf == nullptr || len < minimum_size) {
        reply.faults = {"pdu.parse : ответ не получен или меньше минимального размера."};
        return reply;
    }
    if (buf[1] != request_type) {
        reply.faults = {"pdu.parse : тэг типа команды не равен 0x01."};
        return reply;
    }
    if (buf[2] != invoke_id) {
        reply.faults = {"pdu.parse : идентификатор вызова и приоритета не равен 0xC1."};
        return reply;
    }
    int const result = buf[result_position];
    if (buf[0] == get_response) {
        // The byte ahead isn't looked at: a refusal has its code read as the tag of a value.
        int pos = result_position + 1;
        reply.value = parse_item(buf, len, pos, reply.faults);
        reply.ok = !reply.value.empty();
    } else if (buf[0] == set_response) {
        reply.ok = result == 0;
        if (!reply.ok) {
            reply.faults = {"pdu.parse : ошибка при записи значения : " + access_text(result)};
        }
    } else if (buf[0] == action_response) {
        reply.ok = result == 0;
    } else {
        reply.faults = {xString::Format("pdu.parse : неизвестный тэг команды : %d.", buf[0])};
    }
    return reply;
}

std::string pdu::parse_item(unsigned char const* buf, int len, int& pos, std::vector<std::string>& faults) {
    if (len < 1 || buf == nullptr || pos < 0 || pos > len) {
        return {};
    }
    return ItemReader(buf, len, pos, faults).item(1);
}

void wpdu::wrap(ByteList& out, uint16_t src, uint16_t dst, ByteList const& data) {
    for (uint16_t const field : {wrapper_version, src, dst, static_cast<uint16_t>(data.size())}) {
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
    if (received_version != wrapper_version) {
        reply.faults = {"wpdu.parse : версия протокола не равна 0x0001."};
    } else if (sender != dst) {
        reply.faults = {xString::Format("wpdu.parse : не тот отправитель : %d != %d.", dst, sender)};
    } else {
        reply.ok = true;
    }
    return reply;
}

}  // namespace xdlms
