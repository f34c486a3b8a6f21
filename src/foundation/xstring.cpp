#include "foundation/xstring.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <stdexcept>

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

namespace {

/// What strtoll and strtoull have in common here. `name` is what the exceptions are called by.
template <typename Convert>
auto converted(std::string const& text, char const* name, Convert convert) {
    char* end = nullptr;
    errno = 0;
    auto const number = convert(text.c_str(), &end, 10);
    if (end == text.c_str()) {
        throw std::invalid_argument(name);
    }
    if (errno == ERANGE) {
        throw std::out_of_range(name);
    }
    return number;
}

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
    constexpr char name[] = "stol";
    long long const number = converted(text, name, std::strtoll);
    if (number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max()) {
        throw std::out_of_range(name);
    }
    return static_cast<int>(number);
}

unsigned int xString::stoul32(std::string const& text) {
    constexpr char name[] = "stoul";
    unsigned long long const number = converted(text, name, std::strtoull);
    size_t const sign = text.find_first_not_of(" \t\n\v\f\r");
    unsigned long long const magnitude = text[sign] == '-' ? 0 - number : number;
    if (magnitude > std::numeric_limits<unsigned int>::max()) {
        throw std::out_of_range(name);
    }
    return static_cast<unsigned int>(number);
}

size_t xString::utf8_length(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    auto const byte = [text](size_t at) { return static_cast<unsigned char>(text[at]); };
    unsigned char const lead = byte(0);
    size_t length = 0;
    if (lead < 0x80) {
        length = 1;
    } else if (lead >= 0xC2 && lead < 0xE0) {
        length = 2;
    } else if (lead >= 0xE0 && lead < 0xF0) {
        length = 3;
    } else if (lead >= 0xF0 && lead < 0xF5) {
        length = 4;
    }
    if (length > text.size()) {
        return 0;
    }
    for (size_t index = 1; index < length; ++index) {
        if ((byte(index) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    // Longer than needed, half of a surrogate pair, or behind the last code point.
    bool const is_wrong = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) > 0x9F) ||
                          (lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) > 0x8F);
    return is_wrong ? 0 : length;
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
        char const c = text[at++];
        switch (c) {
            case '\n':
                shown += "\\n";
                break;
            case '\r':
                shown += "\\r";
                break;
            case '\t':
                shown += "\\t";
                break;
            default:
                shown += Format("\\x%02X", static_cast<unsigned int>(static_cast<unsigned char>(c)));
        }
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
