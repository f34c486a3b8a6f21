#pragma once

#include <chrono>
#include <cstddef>
#include <string>

/// How far long work is, and how long the rest of it will take: one line on standard error, and nothing at all where
/// that is no terminal. It is gone with the object.
class Progress {
 public:
    /// The work has so many pieces, about equally long.
    explicit Progress(size_t pieces);
    ~Progress() { hide(); }
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

    /// So many pieces are done, and what is under way now. Writes a few times a second at the most.
    void show(size_t done, std::string const& under_way);
    /// Takes the line away, ahead of other output; the next show() brings it back.
    void hide();

 private:
    using Clock = std::chrono::steady_clock;

    size_t pieces_;
    bool is_terminal_;
    bool is_shown_ = false;
    Clock::time_point start_ = Clock::now();
    Clock::time_point last_;
};
