#pragma once

/// The clock behind xtime in everything that links test_support: the real one plus an offset. In a child process that
/// runs ostrand_testable the offset lies in the file that OSTRAND_TEST_CLOCK names, shared with the test.
namespace test_clock {

/// Moves the clock of this process by `seconds`, forth or back.
void advance(long long seconds);
/// Moves the steady clock of this process.
void advance_steady(long long milliseconds);
/// Delays of this process pass at once, and move its steady clock.
void skip_delays(bool skip);
/// Back to the real time.
void reset();

}  // namespace test_clock
