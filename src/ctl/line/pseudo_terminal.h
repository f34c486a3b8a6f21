#pragma once

#include <string>

/// A pseudo-terminal in raw mode with a link of a chosen name to its line end. A simulated device holds the master
/// side; whoever polls it opens the link as a serial line.
class PseudoTerminal {
 public:
    /// Makes the terminal and the link; a link that is already there is replaced, anything else in its place isn't.
    /// Raises std::system_error.
    explicit PseudoTerminal(std::string const& link);
    /// Removes the link, if it is still this terminal's.
    ~PseudoTerminal();
    PseudoTerminal(PseudoTerminal const&) = delete;
    PseudoTerminal& operator=(PseudoTerminal const&) = delete;

    int master() const { return master_; }
    std::string const& line() const { return line_; }

 private:
    void open_pair();
    void make_link();
    void close_pair();

    std::string link_;
    std::string line_;
    int master_ = -1;
    /// Kept open, so that the master sees no hang-up while nobody polls.
    int slave_ = -1;
};
