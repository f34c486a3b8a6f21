#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <fmt/printf.h>

namespace xCommon {

class ByteList;

/// Text helpers.
class xString {
 public:
    /// printf semantics, but every argument carries its own type: a std::string goes to "%s" as it is, and a
    /// conversion that doesn't fit its argument can't read foreign memory. Foreign text is an argument, never a format.
    template <typename... Args>
    static std::string Format(std::string_view format, Args const&... args) {
        return vformat(format, fmt::make_printf_args(args...));
    }

    /// The pieces of `text` between separators; empty pieces are dropped, so an empty text gives no piece.
    static std::vector<std::string> Split(std::string const& text, std::string const& separator);
    static std::string Replace(std::string const& text, std::string const& from, std::string const& to);
    static bool StartsWith(std::string const& text, std::string const& piece);
    static bool EndsWith(std::string const& text, std::string const& piece);
    /// Lower case of ASCII letters; other bytes stay.
    static std::string ToLower(std::string const& text);
    /// The first `limit` bytes of a UTF-8 text at most, without tearing a character.
    static std::string CutUtf8(std::string const& text, size_t limit);
    /// std::stol and std::stoul where long has 32 bits, on every machine: they raise the same exceptions by the same
    /// names, and a minus sign in front of an unsigned number negates it.
    static int stol32(std::string const& text);
    static unsigned int stoul32(std::string const& text);
    /// What a line of the log holds of a text from outside.
    static constexpr size_t shown_limit = 4096;
    /// Length of the UTF-8 character that a text begins with; 0 where there is none.
    static size_t utf8_length(std::string_view text);
    /// A text as a line of the log shows it: line feed, carriage return and tab as \n, \r and \t, other control
    /// characters and what is no UTF-8 as \xNN, so that it can neither forge a line nor move a terminal. A text longer
    /// than `limit` bytes is cut, between characters, and its length told.
    static std::string Shown(std::string_view text, size_t limit = shown_limit);
    /// True when Shown() would give the same text.
    static bool IsPlain(std::string_view text);
    /// Appends each pair of hexadecimal characters of `text` as one byte. A pair that is not hexadecimal counts as 0,
    /// a last single character is dropped.
    static void string_to_hex(ByteList& target, std::string const& text);

 private:
    static std::string vformat(std::string_view format, fmt::printf_args args);
};

}  // namespace xCommon
