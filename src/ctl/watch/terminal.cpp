#include "ctl/watch/terminal.h"

#include <cstdio>
#include <map>
#include <stdexcept>
#include <utility>

#define NCURSES_WIDECHAR 1
#include <curses.h>

#include "ctl/language/phrase.h"
#include "ctl/text_columns.h"

namespace watch {

namespace {

/// How long the rest of a key's sequence may take behind its first byte; a slow line tears them apart.
constexpr int escape_ms = 50;
constexpr short no_color = 0;
constexpr short colors[] = {COLOR_RED, COLOR_YELLOW, COLOR_GREEN};

short color_of(Look look) {
    switch (look) {
        case Look::failed:
        case Look::error:
            return COLOR_RED;
        case Look::stale:
            return COLOR_YELLOW;
        case Look::title:
            return COLOR_GREEN;
        default:
            return -1;
    }
}

attr_t attributes_of(Line const& line) {
    attr_t attributes = A_NORMAL;
    switch (line.look) {
        case Look::failed:
        case Look::title:
        case Look::head:
            attributes |= A_BOLD;
            break;
        case Look::prompt:
            attributes |= A_REVERSE;
            break;
        default:
            break;
    }
    return line.is_selected ? attributes | A_REVERSE : attributes;
}

Key::Code code_of(wint_t symbol) {
    static std::map<wint_t, Key::Code> const codes = {
        {KEY_UP, Key::Code::up},           {KEY_DOWN, Key::Code::down},          {KEY_PPAGE, Key::Code::page_up},
        {KEY_NPAGE, Key::Code::page_down}, {KEY_HOME, Key::Code::home},          {KEY_END, Key::Code::end},
        {KEY_ENTER, Key::Code::enter},     {KEY_BACKSPACE, Key::Code::backspace}};
    auto const found = codes.find(symbol);
    return found == codes.end() ? Key::Code::other : found->second;
}

Key typed(wint_t symbol) {
    constexpr wint_t escape = 0x1B;
    constexpr wint_t erase = 0x7F;
    switch (symbol) {
        case L'\n':
        case L'\r':
            return {Key::Code::enter};
        case L'\t':
            return {Key::Code::tab};
        case L'\b':
        case erase:
            return {Key::Code::backspace};
        case escape:
            return {Key::Code::escape};
        default:
            return {symbol < L' ' ? Key::Code::other : Key::Code::symbol, static_cast<wchar_t>(symbol)};
    }
}

}  // namespace

struct Terminal::Handle {
    Handle() : screen(newterm(nullptr, stdout, stdin)) {
        if (screen == nullptr) {
            throw std::runtime_error(say("the terminal can't be used; try --once"));
        }
        set_term(screen);
    }
    ~Handle() {
        endwin();
        delscreen(screen);
    }
    Handle(Handle const&) = delete;
    Handle& operator=(Handle const&) = delete;

    SCREEN* screen;
    bool has_colors = false;
};

Terminal::Terminal() : handle_(std::make_unique<Handle>()) {
    cbreak();
    noecho();
    nonl();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    set_escdelay(escape_ms);
    curs_set(0);
    handle_->has_colors = has_colors() && start_color() == OK && use_default_colors() == OK;
    if (handle_->has_colors) {
        for (short const color : colors) {
            init_pair(color, color, -1);
        }
    }
}

Terminal::~Terminal() = default;

int Terminal::columns() const {
    return getmaxx(stdscr);
}

int Terminal::lines() const {
    return getmaxy(stdscr);
}

void Terminal::put(int row, Line const& line) {
    std::wstring const text = columns::wide(line.text);
    // Ahead of the text: behind a full line the cursor stands in the next one.
    move(row, 0);
    clrtoeol();
    short const color = color_of(line.look);
    bool const is_colored = handle_->has_colors && color >= 0;
    attr_set(attributes_of(line), is_colored ? color : no_color, nullptr);
    addnwstr(text.data(), static_cast<int>(text.size()));
    attr_set(A_NORMAL, no_color, nullptr);
}

void Terminal::show(std::vector<Line> lines) {
    if (shown_.size() != lines.size()) {
        shown_.clear();
        erase();
    }
    for (size_t row = 0; row < lines.size(); ++row) {
        if (row >= shown_.size() || !(lines[row] == shown_[row])) {
            put(static_cast<int>(row), lines[row]);
        }
    }
    shown_ = std::move(lines);
    refresh();
}

std::optional<Key> Terminal::key() {
    wint_t symbol = 0;
    int const kind = get_wch(&symbol);
    if (kind == ERR) {
        return std::nullopt;
    }
    if (kind != KEY_CODE_YES) {
        constexpr wint_t redraw = 0x0C;  // Ctrl-L
        if (symbol == redraw) {
            clearok(stdscr, TRUE);
        }
        return typed(symbol);
    }
    if (symbol == KEY_RESIZE) {
        shown_.clear();
        erase();
    }
    return Key{code_of(symbol)};
}

}  // namespace watch
