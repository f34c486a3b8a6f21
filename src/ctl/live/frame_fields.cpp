#include "ctl/live/frame_fields.h"

#include <string_view>
#include <vector>

#include "ctl/line/hex.h"
#include "foundation/xstring.h"

namespace {

/// A field, and its bytes; what is left over for one of size 0.
struct Field {
    char const* name;
    size_t size;
};

/// How frames of a kind of device begin and end. In the order of the file: the first that fits counts.
struct Layout {
    char const* type;  ///< begins the device's type word
    int code;          ///< at `at`; -1: any
    size_t at;
    char direction;  ///< 'q': request, 'r': reply, '*'
    std::vector<Field> fields;
};

std::vector<Layout> const& layouts() {
    static std::vector<Layout> const all = {
        {"mb-rtu",
         0x10,
         1,
         'q',
         {{"address", 1}, {"function", 1}, {"register", 2}, {"count", 2}, {"bytes", 1}, {"data", 0}, {"crc", 2}}},
        {"mb-rtu", 0x10, 1, 'r', {{"address", 1}, {"function", 1}, {"register", 2}, {"count", 2}, {"crc", 2}}},
        {"mb-rtu", 5, 1, '*', {{"address", 1}, {"function", 1}, {"coil", 2}, {"value", 2}, {"crc", 2}}},
        {"mb-rtu", 6, 1, '*', {{"address", 1}, {"function", 1}, {"register", 2}, {"value", 2}, {"crc", 2}}},
        {"mb-rtu", -1, 1, 'q', {{"address", 1}, {"function", 1}, {"register", 2}, {"count", 2}, {"crc", 2}}},
        {"mb-rtu", -1, 1, 'r', {{"address", 1}, {"function", 1}, {"bytes", 1}, {"data", 0}, {"crc", 2}}},
        {"mb-tcp",
         0x10,
         7,
         'q',
         {{"transaction", 2},
          {"protocol", 2},
          {"length", 2},
          {"unit", 1},
          {"function", 1},
          {"register", 2},
          {"count", 2},
          {"bytes", 1},
          {"data", 0}}},
        {"mb-tcp",
         -1,
         7,
         'q',
         {{"transaction", 2},
          {"protocol", 2},
          {"length", 2},
          {"unit", 1},
          {"function", 1},
          {"register", 2},
          {"data", 0}}},
        {"mb-tcp",
         -1,
         7,
         'r',
         {{"transaction", 2}, {"protocol", 2}, {"length", 2}, {"unit", 1}, {"function", 1}, {"data", 0}}},
        {"merc", -1, 1, 'q', {{"address", 1}, {"command", 1}, {"data", 0}, {"crc", 2}}},
        {"merc", -1, 1, 'r', {{"address", 1}, {"data", 0}, {"crc", 2}}},
        {"milur", 1, 1, 'r', {{"address", 1}, {"command", 1}, {"object", 1}, {"bytes", 1}, {"data", 0}, {"crc", 2}}},
        {"milur", 1, 1, 'q', {{"address", 1}, {"command", 1}, {"object", 1}, {"crc", 2}}},
        {"milur", -1, 1, '*', {{"address", 1}, {"command", 1}, {"data", 0}, {"crc", 2}}},
        {"set-4tm", -1, 1, '*', {{"address", 1}, {"command", 1}, {"data", 0}, {"crc", 2}}},
        {"vkt7", -1, 1, '*', {{"address", 1}, {"function", 1}, {"data", 0}, {"crc", 2}}},
        {"pulsar", -1, 0, '*', {{"address", 4}, {"function", 1}, {"length", 1}, {"data", 0}, {"id", 2}, {"crc", 2}}},
    };
    return all;
}

bool fits(Layout const& layout, std::string const& type, bool is_request, std::span<unsigned char const> frame) {
    bool const is_direction = layout.direction == '*' || (layout.direction == 'q') == is_request;
    bool const is_code = layout.code < 0 || (frame.size() > layout.at && frame[layout.at] == layout.code);
    return is_direction && is_code && type.starts_with(layout.type);
}

std::string named(Layout const& layout, std::span<unsigned char const> frame) {
    size_t fixed = 0;
    bool has_rest = false;
    for (Field const& field : layout.fields) {
        fixed += field.size;
        has_rest |= field.size == 0;
    }
    if (frame.size() < fixed || (frame.size() > fixed && !has_rest)) {
        return {};  // a piece, or something else
    }
    std::string text;
    size_t at = 0;
    for (Field const& field : layout.fields) {
        size_t const size = field.size == 0 ? frame.size() - fixed : field.size;
        if (size > 0) {
            text += (text.empty() ? "" : ", ") + std::string(field.name) + " " + hex::text(frame.subspan(at, size));
        }
        at += size;
    }
    return text;
}

}  // namespace

std::string frame_fields(std::string const& type, bool is_request, std::span<unsigned char const> frame) {
    if (type == "dcon" || type == "emera") {
        std::string text(frame.begin(), frame.end());
        for (char& symbol : text) {
            symbol = static_cast<char>(symbol & 0x7F);  // seven bits and a parity
        }
        return "\"" + xCommon::xString::Shown(text) + "\"";
    }
    for (Layout const& layout : layouts()) {
        if (fits(layout, type, is_request, frame)) {
            return named(layout, frame);
        }
    }
    return {};
}
