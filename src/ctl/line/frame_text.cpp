#include "ctl/line/frame_text.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace frame_text {

namespace {

[[noreturn]] void refuse(std::string_view text) {
    throw std::invalid_argument("no frame : " + std::string(text));
}

double number(std::string const& text) {
    double value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        refuse(text);
    }
    return value;
}

/// What stands between quotes.
hex::Bytes unquoted(std::string_view text) {
    hex::Bytes result;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\\' || at + 1 == text.size()) {
            result.push_back(static_cast<unsigned char>(text[at]));
            continue;
        }
        char const mark = text[++at];
        if (mark == 'x') {
            hex::Bytes const byte = hex::bytes(text.substr(at + 1, 2));
            result.insert(result.end(), byte.begin(), byte.end());
            at += 2;
        } else {
            result.push_back(static_cast<unsigned char>(mark == 'r' ? '\r' : mark == 'n' ? '\n' : mark));
        }
    }
    return result;
}

/// The bytes of plain digits and quoted text; the two other things are put behind them by `add_any` and `add_field`.
template <typename Frame, typename AddAny, typename AddField>
Frame read(std::string_view text, AddAny add_any, AddField add_field) {
    Frame frame;
    std::string plain;
    auto const add = [&frame](hex::Bytes const& bytes) { frame.insert(frame.end(), bytes.begin(), bytes.end()); };
    auto const add_plain = [&] { add(hex::bytes(std::exchange(plain, ""))); };
    for (size_t at = 0; at < text.size(); ++at) {
        char const symbol = text[at];
        if (text.substr(at, 2) == "??") {
            add_plain();
            add_any(frame);
            ++at;
        } else if (symbol == '"' || symbol == '{') {
            add_plain();
            size_t const end = text.find(symbol == '"' ? '"' : '}', at + 1);
            if (end == std::string_view::npos) {
                refuse(text);
            }
            std::string_view const inner = text.substr(at + 1, end - at - 1);
            symbol == '"' ? add(unquoted(inner)) : add_field(frame, std::string(inner));
            at = end;
        } else {
            plain.push_back(symbol);
        }
    }
    add_plain();
    return frame;
}

void push_number(hex::Bytes& frame, std::string type, double value) {
    bool const low_first = type.ends_with("le");
    if (low_first) {
        type.resize(type.size() - 2);
    }
    size_t const size = type == "f" ? 4 : static_cast<size_t>(number(type));
    if (size < 1 || size > 4) {
        refuse(type);
    }
    auto const bits = type == "f" ? std::bit_cast<uint32_t>(static_cast<float>(value))
                                  : static_cast<uint32_t>(static_cast<int64_t>(std::llround(value)));
    for (size_t at = 0; at < size; ++at) {
        frame.push_back(static_cast<unsigned char>(bits >> (8 * (low_first ? at : size - 1 - at))));
    }
}

/// Up and down again in twenty steps.
double wandering(double low, double high, long long step) {
    auto const at = static_cast<double>(step % 20);
    return low + (high - low) * (at <= 10 ? at : 20 - at) / 10;
}

void push_field(hex::Bytes& frame, std::string const& field, std::span<unsigned char const> request, long long step) {
    std::istringstream words(field);
    std::string word, type, first, second;
    words >> word >> type >> first >> second;
    if (word == "crc") {
        hex::push_crc16(frame);
    } else if (word == "count") {
        push_number(frame, type, number(first) + number(second) * static_cast<double>(step));
    } else if (word == "wander") {
        push_number(frame, type, wandering(number(first), number(second), step));
    } else {
        auto const place = [&](std::string const& text) {
            auto const at = static_cast<long long>(number(text));
            return at < 0 ? at + static_cast<long long>(request.size()) : at;
        };
        size_t const dots = word.find("..");
        long long const begin = place(word.substr(0, dots));
        long long const end = dots == std::string::npos ? begin : place(word.substr(dots + 2));
        for (long long at = begin; at <= end; ++at) {
            // A request may be shorter than the row expects.
            bool const is_there = at >= 0 && at < static_cast<long long>(request.size());
            frame.push_back(is_there ? request[static_cast<size_t>(at)] : 0);
        }
    }
}

}  // namespace

Pattern pattern(std::string_view text) {
    return read<Pattern>(
        text, [](Pattern& frame) { frame.push_back(-1); }, [text](Pattern&, std::string const&) { refuse(text); });
}

bool begins(Pattern const& pattern, std::span<unsigned char const> frame) {
    return frame.size() <= pattern.size() &&
           std::equal(frame.begin(), frame.end(), pattern.begin(),
                      [](unsigned char byte, int wanted) { return wanted < 0 || byte == wanted; });
}

bool equals(Pattern const& pattern, std::span<unsigned char const> frame) {
    return pattern.size() == frame.size() && begins(pattern, frame);
}

hex::Bytes reply(std::string_view text, std::span<unsigned char const> request, long long number) {
    return read<hex::Bytes>(
        text, [text](hex::Bytes&) { refuse(text); },
        [&](hex::Bytes& frame, std::string const& field) { push_field(frame, field, request, number); });
}

}  // namespace frame_text
