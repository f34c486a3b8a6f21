#include <chrono>
#include <ctime>
#include <thread>

#include "foundation/xmisc.h"

// The clocks stand in a source of their own, so that a test links another one in its place.

namespace xCommon {

namespace {

struct Start {
    long long calendar = ::time(nullptr);
    std::chrono::steady_clock::time_point steady = std::chrono::steady_clock::now();
};

Start const process_start;

}  // namespace

long long xtime::time() {
    return ::time(nullptr);
}

long long xtime::mono() {
    auto const since = std::chrono::steady_clock::now() - process_start.steady;
    return process_start.calendar + std::chrono::duration_cast<std::chrono::seconds>(since).count();
}

std::chrono::steady_clock::time_point xtime::steady() {
    return std::chrono::steady_clock::now();
}

void xMisc::delay(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace xCommon
