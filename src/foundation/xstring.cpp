#include "foundation/xstring.h"

#include <algorithm>
#include <charconv>

#include "foundation/byte_list.h"

namespace xCommon {

std::string xString::vformat(std::string const& format, fmt::printf_args args) {
    try {
        return fmt::vsprintf(fmt::string_view(format), args);
    } catch (fmt::format_error const&) {
        // A format that doesn't fit its arguments must not cost the line that it was meant for.
        return format;
    }
}

std::vector<std::string> xString::Split(std::string const& text, std::string const& separator) {
    std::vector<std::string> pieces;
    size_t begin = 0;
    while (begin < text.size()) {
        size_t end = separator.empty() ? std::string::npos : text.find(separator, begin);
        end = std::min(end, text.size());
        if (end > begin) {
            pieces.push_back(text.substr(begin, end - begin));
        }
        begin = end + separator.size();
        if (separator.empty()) {
            break;
        }
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
