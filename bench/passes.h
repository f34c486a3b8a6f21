#pragma once

#include <chrono>
#include <cstdio>

/// The requests of one line, split into passes by the pauses between them. A pass that has ended is told in a line
/// "pass SECONDS PERIOD REQUESTS NUMBER" on standard output: the time from its first to its last request, the time from
/// the first request of the pass before to its own first (0 for the first pass), how many they were, and the line's
/// number.
class Passes {
 public:
    using Clock = std::chrono::steady_clock;

    Passes(Clock::duration pause, int number) : pause_(pause), number_(number) {}

    void note_request() {
        last_ = Clock::now();
        first_ = requests_ == 0 ? last_ : first_;
        ++requests_;
    }

    /// To be called often: a pass ends by what doesn't come.
    void tell_end() {
        if (requests_ == 0 || Clock::now() - last_ < pause_) {
            return;
        }
        double const period = before_ == Clock::time_point() ? 0 : seconds(first_ - before_);
        std::printf("pass %.6f %.6f %d %d\n", seconds(last_ - first_), period, requests_, number_);
        std::fflush(stdout);
        before_ = first_;
        requests_ = 0;
    }

 private:
    static double seconds(Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

    Clock::duration pause_;
    int number_;
    int requests_ = 0;
    Clock::time_point before_;
    Clock::time_point first_;
    Clock::time_point last_;
};
