#include "ctl/scenario/offset_clock.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <thread>

#include "foundation/xmisc.h"

namespace {

std::atomic<long long> own_offset = 0;
std::atomic<std::atomic<long long>*> offset = &own_offset;
std::atomic<long long> steady_offset_ms = 0;
std::atomic<bool> is_instant = false;

long long calendar() {
    static long long const start = ::time(nullptr);
    return is_instant ? start : ::time(nullptr);
}

}  // namespace

namespace offset_clock {

void advance(long long seconds) {
    *offset += seconds;
}

void set(long long time) {
    *offset = time - calendar();
}

void advance_steady(long long milliseconds) {
    steady_offset_ms += milliseconds;
}

void skip_delays(bool skip) {
    is_instant = skip;
}

void reset() {
    *offset = 0;
    steady_offset_ms = 0;
}

void share(std::atomic<long long>& shared) {
    offset = &shared;
}

}  // namespace offset_clock

namespace xCommon {

long long xtime::time() {
    return calendar() + *offset;
}

long long xtime::mono() {
    return time();
}

std::chrono::steady_clock::time_point xtime::steady() {
    static auto const start = std::chrono::steady_clock::now();
    return (is_instant ? start : std::chrono::steady_clock::now()) + std::chrono::milliseconds(steady_offset_ms);
}

void xMisc::delay(int milliseconds) {
    if (is_instant) {
        steady_offset_ms += std::max(milliseconds, 0);
    } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }
}

}  // namespace xCommon
