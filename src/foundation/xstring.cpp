#include "foundation/xstring.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "foundation/byte_list.h"

namespace xCommon {

std::string xString::vformat(std::string_view format, fmt::printf_args args) {
    try {
        return fmt::vsprintf(fmt::string_view(format.data(), format.size()), args);
    } catch (fmt::format_error const&) {
        // A format that doesn't fit its arguments must not cost the line that it was meant for.
        return std::string(format);
    }
}

std::vector<std::string> xString::Split(std::string const& text, std::string const& separator) {
    std::vector<std::string> pieces;
    size_t begin = 0;
    while (begin < text.size()) {
        // An empty separator parts nothing.
        size_t const end = separator.empty() ? text.size() : std::min(text.find(separator, begin), text.size());
        if (end > begin) {
            pieces.push_back(text.substr(begin, end - begin));
        }
        begin = end + std::max<size_t>(separator.size(), 1);
    }
    return pieces;
}

std::string xString::Replace(std::string const& text, std::string const& from, std::string const& to) {
    if (from.empty()) {
        return text;
    }
    std::string result;
    size_t begin = 0;
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, begin)) {
        result.append(text, begin, at - begin).append(to);
        begin = at + from.size();
    }
    return result.append(text, begin);
}

bool xString::StartsWith(std::string const& text, std::string const& piece) {
    return text.starts_with(piece);
}

bool xString::EndsWith(std::string const& text, std::string const& piece) {
    return text.ends_with(piece);
}

std::string xString::ToLower(std::string const& text) {
    std::string lower = text;
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lower;
}

std::string xString::CutUtf8(std::string const& text, size_t limit) {
    if (text.size() <= limit) {
        return text;
    }
    size_t end = limit;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
        --end;
    }
    return text.substr(0, end);
}

namespace {

/// Length of the character at the head of a text that may stand in the log as it is; 0 for one that may not.
size_t plain_length(std::string_view text) {
    size_t const length = xString::utf8_length(text);
    auto const first = static_cast<unsigned char>(text.front());
    bool const is_control = length == 1 && (first < 0x20 || first == 0x7F);
    bool const is_c1 = length == 2 && first == 0xC2 && static_cast<unsigned char>(text[1]) < 0xA0;
    return is_control || is_c1 ? 0 : length;
}

}  // namespace

int xString::stol32(std::string const& text) {
    long const number = std::stol(text);
    if (!std::in_range<int>(number)) {
        throw std::out_of_range("stol");
    }
    return static_cast<int>(number);
}

unsigned int xString::stoul32(std::string const& text) {
    unsigned long const number = std::stoul(text);
    size_t const sign = text.find_first_not_of(" \t\n\v\f\r");
    if (!std::in_range<unsigned int>(text[sign] == '-' ? 0 - number : number)) {
        throw std::out_of_range("stoul");
    }
    return static_cast<unsigned int>(number);
}

size_t xString::utf8_length(std::string_view text) {
    /// By length, the first code point that needs it.
    static constexpr unsigned int least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (text.empty()) {
        return 0;
    }
    auto const lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) {
        return 1;
    }
    auto const length = static_cast<size_t>(std::countl_one(lead));
    if (length < 2 || length > 4 || length > text.size()) {
        return 0;
    }
    unsigned int code = lead & (0x7FU >> length);
    for (char const c : text.substr(1, length - 1)) {
        auto const byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0U) != 0x80U) {
            return 0;
        }
        code = (code << 6U) | (byte & 0x3FU);
    }
    bool const is_surrogate = code >= 0xD800 && code < 0xE000;
    return code < least[length] || code > 0x10FFFF || is_surrogate ? 0 : length;
}

bool xString::IsPlain(std::string_view text) {
    if (text.size() > shown_limit) {
        return false;
    }
    for (size_t at = 0; at < text.size();) {
        auto const code = static_cast<unsigned char>(text[at]);
        size_t const length = code >= 0x20 && code < 0x7F ? 1 : plain_length(text.substr(at));
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

std::string xString::Shown(std::string_view text, size_t limit) {
    constexpr std::string_view with_letter = "\n\r\t";
    constexpr std::string_view letters = "nrt";
    std::string shown;
    size_t at = 0;
    while (at < text.size()) {
        size_t const length = plain_length(text.substr(at));
        if (at + std::max<size_t>(length, 1) > limit) {
            break;
        }
        if (length != 0) {
            shown.append(text, at, length);
            at += length;
            continue;
        }
        auto const code = static_cast<unsigned char>(text[at++]);
        size_t const known = with_letter.find(static_cast<char>(code));
        shown += known != std::string_view::npos ? Format("\\%c", letters[known]) : Format("\\x%02X", code);
    }
    if (at < text.size()) {
        shown += Format("... (всего %d байт)", text.size());
    }
    return shown;
}

void xString::string_to_hex(ByteList& target, std::string const& text) {
    for (size_t at = 0; at + 1 < text.size(); at += 2) {
        unsigned char byte = 0;
        char const* end = text.data() + at + 2;
        if (std::from_chars(text.data() + at, end, byte, 16).ptr != end) {
            byte = 0;
        }
        target.push_8(byte);
    }
}

}  // namespace xCommon
