#pragma once

#include <string>
#include <vector>

#include "ctl/watch/board.h"
#include "ctl/watch/controls.h"
#include "ctl/watch/row_list.h"

namespace watch {

/// How a line stands out.
enum class Look { plain, title, head, stale, error, failed, prompt };

struct Line {
    std::string text;
    Look look = Look::plain;
    bool is_selected = false;

    bool operator==(Line const&) const = default;
};

/// What there is to see.
struct Scene {
    Board const& board;
    RowList& list;
    Controls const& controls;
    std::string connection;  ///< where the broker is, and how it stands with it
    bool is_connected = false;
    std::string notice;  ///< what has come of the last command
    Time now;
};

/// The screen, line by line, none longer than `columns`. Only rows that show are formatted.
std::vector<Line> screen(Scene const& scene, int columns, int lines);

/// All of it as plain text: the values, the failed devices, the ports.
std::vector<std::string> report(Board const& board, RowList const& list, Time now);

}  // namespace watch
