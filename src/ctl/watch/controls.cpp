#include "ctl/watch/controls.h"

#include <algorithm>
#include <utility>

#include "config/constants.h"
#include "ctl/text_columns.h"

namespace watch {

namespace {

/// No device takes more.
constexpr size_t entry_limit = 256;

/// The key of a Latin keyboard where the Russian layout is on.
wchar_t latin(wchar_t symbol) {
    constexpr std::wstring_view russian = L"йцуыолпП.,";
    constexpr std::wstring_view keys = L"qwesjkgG/?";
    size_t const at = russian.find(symbol);
    return at == std::wstring_view::npos ? symbol : keys[at];
}

Order next(Order order) {
    return order == Order::errors ? Order::name : static_cast<Order>(static_cast<int>(order) + 1);
}

/// Typing at the end of a text.
void edit(std::string& text, Key const& key) {
    std::wstring symbols = columns::wide(text);
    if (key.code == Key::Code::backspace && !symbols.empty()) {
        symbols.pop_back();
    } else if (key.code == Key::Code::symbol && symbols.size() < entry_limit) {
        symbols += key.symbol;
    }
    text = columns::narrow(symbols);
}

}  // namespace

Controls::Controls(RowList& list, std::string filter) : list_(list), filter_(std::move(filter)) {
    list_.set_filter(filter_);
}

void Controls::press(Key const& key) {
    switch (mode_) {
        case Mode::filter:
            return press_in_filter(key);
        case Mode::value:
            return press_in_value(key);
        case Mode::confirm:
            return press_in_confirm(key);
        case Mode::help:
            mode_ = Mode::table;
            return;
        case Mode::table:
            break;
    }
    if (moved(key.code)) {
        return;
    }
    if (key.code == Key::Code::tab) {
        page_ = page_ == Page::values ? Page::ports : Page::values;
    } else if (key.code == Key::Code::enter) {
        begin_command();
    } else if (key.code == Key::Code::escape) {
        filter_.clear();
        list_.set_filter(filter_);
        page_ = Page::values;
    } else if (key.code == Key::Code::symbol) {
        press_in_table(latin(key.symbol));
    }
}

bool Controls::moved(Key::Code code) {
    using Code = Key::Code;
    auto const all = static_cast<long>(list_.rows().size());
    switch (code) {
        case Code::up:
            list_.move(-1);
            return true;
        case Code::down:
            list_.move(1);
            return true;
        case Code::page_up:
            list_.page(-1);
            return true;
        case Code::page_down:
            list_.page(1);
            return true;
        case Code::home:
            list_.move(-all);
            return true;
        case Code::end:
            list_.move(all);
            return true;
        default:
            return false;
    }
}

void Controls::press_in_table(wchar_t symbol) {
    auto const all = static_cast<long>(list_.rows().size());
    switch (symbol) {
        case L'q':
            wants_end_ = true;
            break;
        case L'/':
            page_ = Page::values;
            mode_ = Mode::filter;
            break;
        case L'?':
            mode_ = Mode::help;
            break;
        case L'w':
            begin_command();
            break;
        case L's':
            list_.set_order(next(list_.order()));
            break;
        case L'e':
            list_.set_only_faulty(!list_.only_faulty());
            break;
        case L'k':
            list_.move(-1);
            break;
        case L'j':
            list_.move(1);
            break;
        case L'g':
            list_.move(-all);
            break;
        case L'G':
            list_.move(all);
            break;
        default:
            break;
    }
}

void Controls::press_in_filter(Key const& key) {
    if (moved(key.code)) {
        return;
    }
    if (key.code == Key::Code::enter || key.code == Key::Code::escape) {
        mode_ = Mode::table;
    }
    if (key.code == Key::Code::escape) {
        filter_.clear();
    }
    edit(filter_, key);
    list_.set_filter(filter_);
}

/// The parameter stays the one that was selected, wherever its row goes meanwhile.
void Controls::begin_command() {
    Row const* const row = list_.selected();
    if (row == nullptr || page_ != Page::values) {
        return;
    }
    draft_ = {row->name, row->topic + topic_on_suffix, {}};
    mode_ = Mode::value;
}

void Controls::press_in_value(Key const& key) {
    if (key.code == Key::Code::escape) {
        mode_ = Mode::table;
    } else if (key.code == Key::Code::enter) {
        mode_ = draft_.payload.empty() ? Mode::table : Mode::confirm;
    } else {
        edit(draft_.payload, key);
    }
}

void Controls::press_in_confirm(Key const& key) {
    // Not the key of "y" in the Russian layout: its letter begins the Russian "no".
    constexpr std::wstring_view agreement = L"yYдД";
    is_confirmed_ = key.code == Key::Code::symbol && agreement.find(key.symbol) != std::wstring_view::npos;
    mode_ = Mode::table;
}

std::optional<Command> Controls::take_command() {
    return std::exchange(is_confirmed_, false) ? std::optional(draft_) : std::nullopt;
}

}  // namespace watch
