#pragma once

#include <atomic>

/// The clock behind xtime where this source is linked in place of the product's: the real one plus an offset, and
/// delays that can be made to pass at once.
namespace offset_clock {

/// Moves the clock by `seconds`, forth or back.
void advance(long long seconds);
/// Moves the clock to that second since 1970.
void set(long long time);
/// Moves the steady clock.
void advance_steady(long long milliseconds);
/// Delays pass at once. The clocks stand still then: nothing but delays moves the steady one, and the other one is
/// moved by advance() and set() alone.
void skip_delays(bool skip);
/// Back to the real time.
void reset();
/// The offset in seconds lies there from now on, where another process may move it.
void share(std::atomic<long long>& offset);

}  // namespace offset_clock
