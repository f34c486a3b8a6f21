#include "foundation/duk_helper.h"

#include "foundation/duk_engine.h"
#include "foundation/xstring.h"

namespace xCommon {

namespace {

bool is_utf8(std::string const& text) {
    for (size_t at = 0; at < text.size();) {
        size_t const length = xString::utf8_length(std::string_view(text).substr(at));
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

/// Bytes that are no text, as a string of one character for each byte. The engine takes some of them for marks of its
/// own when it gets them as they are.
std::string bytes_to_characters(std::string const& bytes) {
    std::string text;
    for (char const byte : bytes) {
        auto const code = static_cast<unsigned char>(byte);
        if (code < 0x80) {
            text.push_back(byte);
        } else {
            text.push_back(static_cast<char>(0xC0U | (code >> 6U)));
            text.push_back(static_cast<char>(0x80U | (code & 0x3FU)));
        }
    }
    return text;
}

/// The way back; false when a character is none of a byte.
bool characters_to_bytes(std::string const& text, std::string& bytes) {
    for (size_t at = 0; at < text.size(); ++at) {
        auto const code = static_cast<unsigned char>(text[at]);
        if (code < 0x80) {
            bytes.push_back(text[at]);
        } else if ((code == 0xC2 || code == 0xC3) && at + 1 < text.size()) {
            ++at;
            bytes.push_back(static_cast<char>((code << 6U) | (static_cast<unsigned char>(text[at]) & 0x3FU)));
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace

void dukHelper::add_param(std::string const& name, std::string const& value) {
    bool const is_text = is_utf8(value);
    has_bytes_ = has_bytes_ || !is_text;
    params_.emplace_back(name, is_text ? value : bytes_to_characters(value));
}

std::string dukHelper::show(std::string const& expression) {
    std::string const result = dukEngine::of_this_thread().evaluate(params_, expression);
    std::string bytes;
    return has_bytes_ && characters_to_bytes(result, bytes) ? bytes : result;
}

}  // namespace xCommon
