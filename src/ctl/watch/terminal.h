#pragma once

#include <optional>
#include <vector>

#include "ctl/watch/controls.h"
#include "ctl/watch/view.h"

namespace watch {

/// The terminal, taken over until the end of the scope: then it is as it was. Not more than one at a time.
class Terminal {
 public:
    /// Raises std::runtime_error when the terminal can't be used.
    Terminal();
    ~Terminal();
    Terminal(Terminal const&) = delete;
    Terminal& operator=(Terminal const&) = delete;

    int columns() const;
    int lines() const;
    /// Sends what differs from what stands there.
    void show(std::vector<Line> lines);
    /// The next key that has been pressed; none when there is none. A new size of the window counts as
    /// Key::Code::other.
    std::optional<Key> key();

 private:
    void put(int row, Line const& line);

    struct Handle;
    std::unique_ptr<Handle> handle_;
    std::vector<Line> shown_;
};

}  // namespace watch
