#include "ctl/text_columns.h"

#include <algorithm>
#include <bit>
#include <clocale>
#include <cstring>
#include <cwchar>
#include <cwctype>

#include <langinfo.h>

#include "foundation/xstring.h"

using xCommon::xString;

namespace columns {

namespace {

constexpr wchar_t instead = L'?';
constexpr std::string_view ellipsis = "…";
/// A column of a table: one huge text would widen all its rows.
constexpr int widest = 400;

/// Characters that change how others stand, or can't be seen; they take no column.
bool hides(wchar_t symbol) {
    struct Range {
        wchar_t first;
        wchar_t last;
    };
    static constexpr Range ranges[] = {
        {0x00AD, 0x00AD}, {0x061C, 0x061C}, {0x180E, 0x180E}, {0x200B, 0x200F}, {0x2028, 0x202E},
        {0x2060, 0x206F}, {0xFE00, 0xFE0F}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE0FFF},
    };
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [symbol](Range const& range) { return symbol >= range.first && symbol <= range.last; });
}

/// The character at the head of a text, and how many bytes it has.
wchar_t head(std::string_view text, size_t& length) {
    length = std::max<size_t>(xString::utf8_length(text), 1);
    auto const lead = static_cast<unsigned char>(text.front());
    if (length == 1) {
        return lead < 0x80 ? static_cast<wchar_t>(lead) : instead;
    }
    unsigned int code = lead & (0x7FU >> length);
    for (char const c : text.substr(1, length - 1)) {
        code = (code << 6U) | (static_cast<unsigned char>(c) & 0x3FU);
    }
    return static_cast<wchar_t>(code);
}

int width_of(wchar_t symbol) {
    return std::max(wcwidth(symbol), 0);
}

int width_of(std::wstring_view text) {
    int sum = 0;
    for (wchar_t const symbol : text) {
        sum += width_of(symbol);
    }
    return sum;
}

/// As many characters from the front as fit.
std::wstring_view fitting(std::wstring_view text, int columns) {
    size_t count = 0;
    for (; count < text.size(); ++count) {
        columns -= width_of(text[count]);
        if (columns < 0) {
            break;
        }
    }
    return text.substr(0, count);
}

/// As many from the back.
std::wstring_view fitting_back(std::wstring_view text, int columns) {
    size_t from = text.size();
    for (; from > 0; --from) {
        columns -= width_of(text[from - 1]);
        if (columns < 0) {
            break;
        }
    }
    return text.substr(from);
}

/// In `columns` at most.
std::string shortened(std::string_view text, int columns, Cut cut) {
    if (columns <= 0) {
        return {};
    }
    std::wstring const symbols = wide(text);
    if (width_of(symbols) <= columns) {
        return std::string(text);
    }
    return cut == Cut::end ? narrow(fitting(symbols, columns - 1)).append(ellipsis)
                           : std::string(ellipsis) + narrow(fitting_back(symbols, columns - 1));
}

std::string blanks(int count) {
    return std::string(static_cast<size_t>(std::max(count, 0)), ' ');
}

}  // namespace

void choose_characters() {
    std::setlocale(LC_CTYPE, "");
    if (std::strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0) {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }
}

std::string plain(std::string_view text) {
    if (std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < '\x7F'; })) {
        return std::string(text);
    }
    std::wstring symbols = wide(xString::Shown(text, std::string::npos));
    std::replace_if(
        symbols.begin(), symbols.end(), [](wchar_t symbol) { return wcwidth(symbol) < 0 || hides(symbol); }, instead);
    return narrow(symbols);
}

std::wstring wide(std::string_view text) {
    std::wstring result;
    result.reserve(text.size());
    size_t length = 0;
    for (; !text.empty(); text.remove_prefix(length)) {
        result += head(text, length);
    }
    return result;
}

std::string narrow(std::wstring_view text) {
    std::string result;
    for (wchar_t const symbol : text) {
        auto const code = std::bit_cast<unsigned int>(symbol);
        auto const follow = [&result, code](unsigned int shift) {
            result += static_cast<char>(0x80U | ((code >> shift) & 0x3FU));
        };
        if (code < 0x80) {
            result += static_cast<char>(code);
        } else if (code < 0x800) {
            result += static_cast<char>(0xC0U | (code >> 6U));
            follow(0);
        } else if (code < 0x10000) {
            result += static_cast<char>(0xE0U | (code >> 12U));
            follow(6);
            follow(0);
        } else {
            result += static_cast<char>(0xF0U | (code >> 18U));
            follow(12);
            follow(6);
            follow(0);
        }
    }
    return result;
}

std::string folded(std::string_view text) {
    std::wstring symbols = wide(text);
    std::transform(symbols.begin(), symbols.end(), symbols.begin(),
                   [](wchar_t symbol) { return static_cast<wchar_t>(std::towlower(static_cast<wint_t>(symbol))); });
    return narrow(symbols);
}

int width(std::string_view text) {
    return width_of(wide(text));
}

std::string fit(std::string_view text, int columns, Cut cut) {
    std::string const part = shortened(text, columns, cut);
    return part + blanks(columns - width(part));
}

std::string fit_right(std::string_view text, int columns) {
    std::string const part = shortened(text, columns, Cut::end);
    return blanks(columns - width(part)) + part;
}

std::vector<std::string> aligned(Rows rows, std::vector<int> widths) {
    for (auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t index = 0; index < row.size(); ++index) {
            row[index] = shortened(plain(row[index]), widest, Cut::end);
            widths[index] = std::max(widths[index], width(row[index]));
        }
    }
    std::vector<std::string> lines;
    lines.reserve(rows.size());
    for (auto const& row : rows) {
        std::string line;
        for (size_t index = 0; index < row.size(); ++index) {
            line += fit(row[index], widths[index]) + "  ";
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(std::move(line));
    }
    return lines;
}

std::string table(Rows rows, std::vector<int> widths) {
    std::string text;
    for (std::string const& line : aligned(std::move(rows), std::move(widths))) {
        text += line + "\n";
    }
    return text;
}

}  // namespace columns
