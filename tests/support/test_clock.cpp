#include "support/test_clock.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "foundation/xmisc.h"

namespace {

std::atomic<long long> own_offset = 0;
std::atomic<long long> steady_offset_ms = 0;
std::atomic<bool> is_instant = false;

/// The offset in force: the shared file's, if the environment names one, else this process's own.
std::atomic<long long>& offset() {
    static std::atomic<long long>* const shared = []() -> std::atomic<long long>* {
        char const* path = std::getenv("OSTRAND_TEST_CLOCK");
        if (path == nullptr) {
            return &own_offset;
        }
        int const fd = open(path, O_RDWR | O_CLOEXEC);
        void* memory = mmap(nullptr, sizeof(long long), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        close(fd);
        return memory == MAP_FAILED ? &own_offset : static_cast<std::atomic<long long>*>(memory);
    }();
    return *shared;
}

}  // namespace

namespace test_clock {

void advance(long long seconds) {
    offset() += seconds;
}

void advance_steady(long long milliseconds) {
    steady_offset_ms += milliseconds;
}

void skip_delays(bool skip) {
    is_instant = skip;
}

void reset() {
    offset() = 0;
    steady_offset_ms = 0;
}

}  // namespace test_clock

namespace xCommon {

long long xtime::time() {
    return ::time(nullptr) + offset();
}

long long xtime::mono() {
    return ::time(nullptr) + offset();
}

std::chrono::steady_clock::time_point xtime::steady() {
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(steady_offset_ms);
}

void xMisc::delay(int milliseconds) {
    if (milliseconds <= 0) {
        return;
    }
    if (is_instant) {
        steady_offset_ms += milliseconds;
        return;
    }
    timespec left{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

}  // namespace xCommon
