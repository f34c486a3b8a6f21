#pragma once

#include <optional>
#include <string>

#include "ctl/line/pseudo_terminal.h"

/// How a serial line is set, read back from the terminal. A pseudo-terminal keeps no byte size and no parity.
struct LineSettings {
    unsigned int baudrate = 0;
    int stop_bits = 0;  ///< 1 or 2
    bool software_flow = false;
    bool hardware_flow = false;

    bool operator==(LineSettings const&) const = default;
};

/// A pseudo-terminal whose line end is a link of a fixed path, so that it can be pulled out and come back under the
/// same name, as an adapter on USB does.
class PtyLine {
 public:
    /// Plugged in from the start. Raises std::system_error.
    explicit PtyLine(std::string path);

    /// A new terminal under the same path.
    void plug() { terminal_.emplace(path_); }
    /// The far side closes: whoever has the line open sees a hang-up, and the path is gone.
    void unplug() { terminal_.reset(); }
    bool plugged() const { return terminal_.has_value(); }

    /// -1 while it is unplugged.
    int master() const { return terminal_ ? terminal_->master() : -1; }
    std::string const& path() const { return path_; }
    /// The terminal behind the link, "/dev/pts/3"; empty while it is unplugged.
    std::string device() const { return terminal_ ? terminal_->line() : std::string(); }
    /// As the last one who opened the line has set it.
    LineSettings settings() const;

 private:
    std::string path_;
    std::optional<PseudoTerminal> terminal_;
};
