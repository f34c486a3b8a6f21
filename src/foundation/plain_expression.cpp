#include "foundation/plain_expression.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace xCommon {

namespace {

constexpr std::array<std::string_view, 13> names = {"Infinity", "Math",  "NaN",      "Number", "String",
                                                    "false",    "isNaN", "isFinite", "null",   "parseFloat",
                                                    "parseInt", "true",  "undefined"};
constexpr std::array<std::string_view, 40> members = {
    "E",         "LN10", "LN2",           "LOG10E",  "LOG2E",       "PI",          "SQRT1_2",  "SQRT2",
    "abs",       "acos", "asin",          "atan",    "atan2",       "ceil",        "charAt",   "charCodeAt",
    "cos",       "exp",  "floor",         "indexOf", "lastIndexOf", "length",      "log",      "max",
    "min",       "pow",  "random",        "round",   "sin",         "slice",       "sqrt",     "substr",
    "substring", "tan",  "toExponential", "toFixed", "toLowerCase", "toPrecision", "toString", "toUpperCase"};

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}
bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '$';
}

template <typename Table>
bool is_one_of(Table const& table, std::string_view word) {
    return std::find(std::begin(table), std::end(table), word) != std::end(table);
}

/// Goes over an expression token by token. What it takes for a token has to be one for the engine too: a quote in a
/// comment or in a regular expression would turn text into code.
class Scanner {
 public:
    explicit Scanner(std::string_view text) : text_(text) {}

    bool all_plain() {
        while (at_ < text_.size()) {
            if (text_[at_] == ' ') {
                ++at_;
            } else if (!token()) {
                return false;
            }
        }
        return true;
    }

 private:
    char peek(size_t ahead = 0) const { return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0'; }

    bool token() {
        char const c = peek();
        if (is_digit(c)) {
            return number();
        }
        if (is_letter(c)) {
            return is_one_of(names, word()) || last_word_ == "value";
        }
        if (c == '\'' || c == '"') {
            return string(c);
        }
        return c == '.' ? member() : operation(c);
    }

    std::string_view word() {
        size_t const begin = at_;
        while (is_letter(peek()) || is_digit(peek())) {
            ++at_;
        }
        is_operand_ = true;
        return last_word_ = text_.substr(begin, at_ - begin);
    }

    void digits() {
        while (is_digit(peek())) {
            ++at_;
        }
    }

    bool number() {
        digits();
        if (peek() == '.') {
            ++at_;
            if (!is_digit(peek())) {
                return false;
            }
            digits();
        }
        is_operand_ = true;
        // With an exponent, another base or a member.
        return !is_letter(peek()) && peek() != '.';
    }

    bool string(char quote) {
        size_t const end = text_.find_first_of("\\\n\r'\"", at_ + 1);
        if (end == std::string_view::npos || text_[end] != quote) {
            return false;
        }
        at_ = end + 1;
        is_operand_ = true;
        return true;
    }

    bool member() {
        ++at_;
        return is_operand_ && is_letter(peek()) && is_one_of(members, word());
    }

    bool operation(char c) {
        char const next = peek(1);
        switch (c) {
            case '/':
                if (!is_operand_ || next == '/' || next == '*') {
                    return false;
                }
                break;
            case '=':
            case '!':
                if (next == '=') {
                    at_ += peek(2) == '=' ? 2 : 1;
                } else if (c == '=') {
                    return false;
                }
                break;
            case '<':
            case '>': {
                size_t const begin = at_;
                while (peek(1) == c) {
                    ++at_;
                }
                if (peek(1) == '=') {
                    if (at_ != begin) {
                        return false;  // "<=" compares, "<<=" assigns
                    }
                    ++at_;
                }
                break;
            }
            case '+':
            case '-':
                if (next == c) {
                    return false;
                }
                break;
            case ')':
                ++at_;
                is_operand_ = true;
                return true;
            case '*':
            case '%':
            case '&':
            case '|':
            case '^':
            case '~':
            case '?':
            case ':':
            case ',':
            case '(':
                break;
            default:
                return false;
        }
        ++at_;
        is_operand_ = false;
        return true;
    }

    std::string_view text_;
    size_t at_ = 0;
    std::string_view last_word_;
    /// The last token was one behind which a "/" divides.
    bool is_operand_ = false;
};

}  // namespace

bool is_plain_expression(std::string_view expression) {
    return Scanner(expression).all_plain();
}

}  // namespace xCommon
