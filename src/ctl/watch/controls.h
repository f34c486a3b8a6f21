#pragma once

#include <optional>
#include <string>

#include "ctl/watch/row_list.h"

namespace watch {

struct Key {
    enum class Code { symbol, up, down, page_up, page_down, home, end, enter, escape, backspace, tab, other };

    Code code = Code::other;
    wchar_t symbol = L'\0';
};

/// A value on its way to a parameter.
struct Command {
    std::string name;   ///< of the parameter, fit for a terminal
    std::string topic;  ///< where it goes
    std::string payload;
};

/// What the keys have chosen. It touches neither terminal nor broker.
class Controls {
 public:
    enum class Mode { table, filter, value, confirm, help };
    enum class Page { values, ports };

    Controls(RowList& list, std::string filter);

    void press(Key const& key);

    bool wants_end() const { return wants_end_; }
    Mode mode() const { return mode_; }
    Page page() const { return page_; }
    std::string const& filter() const { return filter_; }
    /// What is being typed, and for whom.
    Command const& draft() const { return draft_; }
    /// The command that has been confirmed, once.
    std::optional<Command> take_command();

 private:
    void press_in_table(wchar_t symbol);
    void press_in_filter(Key const& key);
    void press_in_value(Key const& key);
    void press_in_confirm(Key const& key);
    bool moved(Key::Code code);
    void begin_command();

    RowList& list_;
    Mode mode_ = Mode::table;
    Page page_ = Page::values;
    std::string filter_;
    Command draft_;
    bool is_confirmed_ = false;
    bool wants_end_ = false;
};

}  // namespace watch
