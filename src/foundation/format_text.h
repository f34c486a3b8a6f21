#pragma once

#include <string>
#include <string_view>
#include <type_traits>

namespace xCommon {

/// A format that doesn't stand where it is used, a row of a table for instance: nobody has checked it against its
/// arguments.
struct RuntimeFormat {
    explicit RuntimeFormat(std::string_view format) : text(format) {}
    std::string_view text;
};

namespace format_check {

/// 's' a text, 'd' an integer, 'f' a float, 'p' a pointer.
template <typename T>
consteval char kind() {
    if constexpr (std::is_convertible_v<T const&, std::string_view>) {
        return 's';
    } else if constexpr (std::is_floating_point_v<T>) {
        return 'f';
    } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
        return 'd';
    } else if constexpr (std::is_pointer_v<T>) {
        return 'p';
    } else {
        return requires(T const& value) {
            std::string_view(value.text);
        }
        ? 's' : '?';
    }
}

consteval bool is_one_of(char symbol, std::string_view symbols) {
    return symbols.find(symbol) != std::string_view::npos;
}

/// Reads the conversions off a format; what doesn't fit ends the compilation here.
consteval void check(std::string_view format, std::string_view kinds) {
    size_t taken = 0;
    auto const take = [&](char wanted) {
        if (taken >= kinds.size() || kinds[taken] != wanted) {
            throw "an argument is missing, or of another kind than its conversion";
        }
        ++taken;
    };
    for (size_t at = 0; at < format.size(); ++at) {
        if (format[at] != '%') {
            continue;
        }
        while (at + 1 < format.size() && is_one_of(format[at + 1], "-+ #0123456789.*hlz")) {
            ++at;
            if (format[at] == '*') {
                take('d');
            }
        }
        ++at;
        char const conversion = at < format.size() ? format[at] : '\0';
        if (is_one_of(conversion, "diuxXoc")) {
            take('d');
        } else if (is_one_of(conversion, "fFeEgG")) {
            take('f');
        } else if (is_one_of(conversion, "sp")) {
            take(conversion);
        } else if (conversion != '%') {
            throw "no conversion";
        }
    }
    if (taken != kinds.size()) {
        throw "an argument without a conversion";
    }
}

}  // namespace format_check

/// A printf-like format for arguments of these types. One that stands in the code is checked when it is compiled.
template <typename... Args>
class FormatFor {
 public:
    template <size_t Size>
    consteval FormatFor(char const (&format)[Size])  // NOLINT(google-explicit-constructor): used as the text it is
        : text_(format, Size - 1) {
        constexpr char kinds[] = {format_check::kind<Args>()..., '\0'};
        format_check::check(text_, std::string_view(kinds, sizeof...(Args)));
    }
    FormatFor(RuntimeFormat format) : text_(format.text) {}  // NOLINT(google-explicit-constructor)

    std::string_view text() const { return text_; }

 private:
    std::string_view text_;
};

/// As a parameter: the arguments' types are deduced from the arguments alone.
template <typename... Args>
using CheckedFormat = FormatFor<std::type_identity_t<Args>...>;

}  // namespace xCommon
