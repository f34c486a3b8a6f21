#include "ctl/watch/view.h"

#include <algorithm>
#include <utility>

#include "ctl/language/phrase.h"
#include "ctl/text_columns.h"
#include "foundation/xstring.h"

namespace watch {

using columns::Cut;
using columns::fit;
using columns::fit_right;
using columns::plain;
using columns::Rows;

namespace {

constexpr int mark_width = 2;
constexpr int age_width = 6;
constexpr int errors_width = 6;
constexpr int direction_width = 1;
/// From which width of the screen on a column is worth its place.
constexpr int direction_from = 40;
constexpr int errors_from = 50;
constexpr int bars_from = 72;
constexpr long long hour_s = 3600;
constexpr long long day_s = 24 * hour_s;

/// Widths of the columns that depend on the screen's; 0 for one that isn't there.
struct Layout {
    int name = 0;
    int value = 0;
    int direction = 0;
    int bars = 0;
    int errors = 0;

    explicit Layout(int width)
        : direction(width >= direction_from ? direction_width : 0),
          bars(width >= bars_from ? static_cast<int>(Trend::span) : 0),
          errors(width >= errors_from ? errors_width : 0) {
        int left = width - mark_width - 1 - age_width - 1;
        for (int const column : {direction, bars, errors}) {
            left -= column > 0 ? column + 1 : 0;
        }
        name = std::max(left * 3 / 5, 1);
        value = std::max(left - name, 1);
    }
};

std::string age_text(Time since, bool is_dated, Time now) {
    long long const age_s =
        std::max(0LL, static_cast<long long>(std::chrono::floor<std::chrono::seconds>(now - since).count()));
    std::string text;
    if (age_s < hour_s) {
        text = xCommon::xString::Format("%lld:%02lld", age_s / 60, age_s % 60);
    } else if (age_s < 4 * day_s) {
        text = say("%lldh%02lld", age_s / hour_s, age_s % hour_s / 60);
    } else {
        text = say("%lldd", age_s / day_s);
    }
    return is_dated ? text : ">" + text;
}

Look look_of(Row const& row, Time now) {
    if (row.has_failed()) {
        return Look::failed;
    }
    if (row.in_error) {
        return Look::error;
    }
    return row.is_stale(now) ? Look::stale : Look::plain;
}

/// For those who see no colours.
char const* mark_of(Look look) {
    switch (look) {
        case Look::failed:
            return "x ";
        case Look::error:
            return "! ";
        case Look::stale:
            return "~ ";
        default:
            return "  ";
    }
}

char const* arrow(Trend::Direction direction) {
    switch (direction) {
        case Trend::Direction::up:
            return "↑";
        case Trend::Direction::down:
            return "↓";
        case Trend::Direction::steady:
            return "=";
        default:
            return " ";
    }
}

std::string head_text(Layout const& layout) {
    std::string text = fit("", mark_width) + fit(say("name"), layout.name) + " " + fit(say("value"), layout.value) +
                       " " + fit_right(say("age"), age_width);
    if (layout.bars > 0) {
        text += " " + fit(say("trend"), layout.direction + 1 + layout.bars);
    } else if (layout.direction > 0) {
        text += "  ";
    }
    if (layout.errors > 0) {
        text += " " + fit_right(say("errors"), layout.errors);
    }
    return text;
}

Line row_line(Row const& row, Layout const& layout, Time now) {
    Line line;
    line.look = look_of(row, now);
    line.text = mark_of(line.look) + fit(row.name, layout.name, Cut::start) + " " +
                fit(plain(row.value), layout.value) + " " +
                fit_right(age_text(row.since, row.is_dated, now), age_width);
    if (layout.direction > 0) {
        line.text.append(" ").append(arrow(row.trend.direction()));
    }
    if (layout.bars > 0) {
        line.text += " " + fit(row.trend.bars(), layout.bars);
    }
    if (layout.errors > 0) {
        line.text += " " + fit_right(row.errors > 0 ? std::to_string(row.errors) : "", layout.errors);
    }
    return line;
}

Rows ports_table(Board const& board, Time now) {
    Rows table;
    if (board.ports().empty()) {
        return table;
    }
    table.push_back({say("port"), say("polls"), say("errors"), "%", say("out of range"), say("last pass"), say("age")});
    for (auto const& [name, port] : board.ports()) {
        std::string const age = age_text(port.since, true, now);
        if (!port.is_known) {
            table.push_back({name, port.text});
            continue;
        }
        std::string const percent = port.polls > 0
                                        ? xCommon::xString::Format("%.1f", static_cast<double>(port.errors) * 100.0 /
                                                                               static_cast<double>(port.polls))
                                        : "";
        std::string const last =
            port.last_polls > 0 ? xCommon::xString::Format("%lld/%lld", port.last_errors, port.last_polls) : "";
        table.push_back({name, std::to_string(port.polls), std::to_string(port.errors), percent,
                         std::to_string(port.out_of_range), last, age});
    }
    return table;
}

Rows failed_table(Board const& board, Time now) {
    Rows table;
    for (auto const& [name, since] : board.failed()) {
        if (table.empty()) {
            table.push_back({say("failed device"), say("since")});
        }
        table.push_back({name, age_text(since, true, now)});
    }
    return table;
}

std::string title(Scene const& scene) {
    std::string text =
        scene.connection + "   " + say("%d of %d values", scene.list.rows().size(), scene.board.rows().size());
    constexpr auto order_text = [](Order order) {
        return order == Order::age ? say("by age") : order == Order::errors ? say("by errors") : say("by name");
    };
    text += "   " + order_text(scene.list.order());
    if (scene.list.only_faulty()) {
        text += "   " + say("faulty only");
    }
    if (!scene.controls.filter().empty()) {
        text += "   /" + plain(scene.controls.filter());
    }
    if (scene.board.is_full()) {
        text += "   " + say("more of them are left out");
    }
    return text;
}

/// Failed devices in one line; empty when there are none.
std::string failed_line(Scene const& scene) {
    std::string text;
    for (auto const& [name, since] : scene.board.failed()) {
        text += (text.empty() ? " " : ", ") + name + " (" + age_text(since, true, scene.now) + ")";
    }
    return text.empty() ? text : say("failed:") + text;
}

/// The counters of all ports together; empty when there are none.
std::string ports_line(Board const& board) {
    Port sum;
    for (auto const& [name, port] : board.ports()) {
        sum.polls += port.polls;
        sum.errors += port.errors;
        sum.out_of_range += port.out_of_range;
    }
    return board.ports().empty() ? std::string()
                                 : say("ports %d: polls %lld, errors %lld, out of range %lld", board.ports().size(),
                                       sum.polls, sum.errors, sum.out_of_range);
}

/// The last line: what is being typed, or what has come of it, or what the keys do.
std::string prompt(Scene const& scene) {
    using Mode = Controls::Mode;
    Command const& draft = scene.controls.draft();
    switch (scene.controls.mode()) {
        case Mode::filter:
            return say("filter: %s_   Enter keeps it, Esc shows all", plain(scene.controls.filter()));
        case Mode::value:
            return say("value for %s: %s_   Esc: none", draft.name, plain(draft.payload));
        case Mode::confirm:
            return say("send '%s' to %s? y/n", plain(draft.payload), draft.name);
        case Mode::help:
            return say("any key goes back");
        case Mode::table:
            break;
    }
    return scene.notice.empty() ? say("q quit  / filter  w write  s sort  e faulty  Tab ports  ? help")
                                : plain(scene.notice);
}

std::vector<Line> split(std::string const& text) {
    std::vector<Line> lines;
    for (std::string& line : xCommon::xString::Split(text, "\n")) {
        lines.push_back({std::move(line)});
    }
    return lines;
}

std::vector<Line> help() {
    return split(
        say("up, down, PgUp, PgDn, Home, End   move; also j, k, g, G\n"
            "/ and letters   only names that hold these words; Esc shows all again\n"
            "e   only what is faulty or stale\n"
            "s   sort by name, by age, by errors\n"
            "w or Enter   write a value to the selected parameter; it is asked for first\n"
            "Tab   ports and failed devices\n"
            "q   quit\n"
            " \n"
            "!   the last poll of it failed; no value has come since\n"
            "x   its device has failed: nothing of it answers\n"
            "~   stale: no value for much longer than usual, or none at all for a minute\n"
            ">   at least so old: it lay on the broker already\n"
            "errors   failed polls since this table was started"));
}

std::vector<Line> ports_page(Scene const& scene) {
    std::vector<Line> lines;
    for (Rows const& table : {ports_table(scene.board, scene.now), failed_table(scene.board, scene.now)}) {
        for (std::string& text : columns::aligned(table)) {
            lines.push_back({std::move(text)});
        }
        lines.push_back({});
    }
    return lines;
}

std::vector<Line> values_page(Scene const& scene, int width, size_t height) {
    Layout const layout(width);
    std::vector<Line> lines = {{head_text(layout), Look::head}};
    std::vector<Line> below;
    if (std::string text = failed_line(scene); !text.empty()) {
        below.push_back({std::move(text), Look::failed});
    }
    if (std::string text = ports_line(scene.board); !text.empty()) {
        below.push_back({std::move(text)});
    }
    size_t const room = height > below.size() + 1 ? height - below.size() - 1 : 1;
    auto const& rows = scene.list.rows();
    size_t const top = scene.list.scroll(room);
    for (size_t index = top; index < std::min(top + room, rows.size()); ++index) {
        Line line = row_line(*rows[index], layout, scene.now);
        line.is_selected = index == scene.list.selected_index();
        lines.push_back(std::move(line));
    }
    lines.resize(room + 1);
    std::move(below.begin(), below.end(), std::back_inserter(lines));
    return lines;
}

}  // namespace

std::vector<Line> screen(Scene const& scene, int width, int height) {
    constexpr int frame = 2;  // title and prompt
    auto const inner = static_cast<size_t>(std::max(height - frame, 1));
    std::vector<Line> lines = {{title(scene), scene.is_connected ? Look::title : Look::error}};
    std::vector<Line> page;
    if (scene.controls.mode() == Controls::Mode::help) {
        page = help();
    } else if (scene.controls.page() == Controls::Page::ports) {
        page = ports_page(scene);
    } else {
        page = values_page(scene, width, inner);
    }
    page.resize(inner);
    std::move(page.begin(), page.end(), std::back_inserter(lines));
    lines.push_back({prompt(scene), Look::prompt});
    lines.resize(static_cast<size_t>(std::max(height, 0)));
    for (Line& line : lines) {
        line.text = fit(line.text, width);
    }
    return lines;
}

std::vector<std::string> report(Board const& board, RowList const& list, Time now) {
    Rows table = {{" ", say("name"), say("value"), say("age"), say("errors")}};
    for (Row const* const row : list.rows()) {
        table.push_back({std::string(1, *mark_of(look_of(*row, now))), row->name, row->value,
                         age_text(row->since, row->is_dated, now), row->errors > 0 ? std::to_string(row->errors) : ""});
    }
    std::vector<std::string> lines;
    for (Rows const& part : {table, failed_table(board, now), ports_table(board, now)}) {
        if (!lines.empty() && !part.empty()) {
            lines.emplace_back();
        }
        std::vector<std::string> more = columns::aligned(part);
        std::move(more.begin(), more.end(), std::back_inserter(lines));
    }
    return lines;
}

}  // namespace watch
