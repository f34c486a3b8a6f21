#include <atomic>
#include <cstdlib>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "ctl/scenario/offset_clock.h"

// In a child process the offset of the clock lies in the file that OSTRAND_TEST_CLOCK names, shared with the test.

namespace {

bool share_clock() {
    char const* path = std::getenv("OSTRAND_TEST_CLOCK");
    if (path == nullptr) {
        return false;
    }
    int const fd = open(path, O_RDWR | O_CLOEXEC);
    void* memory = mmap(nullptr, sizeof(long long), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (memory == MAP_FAILED) {
        return false;
    }
    offset_clock::share(*static_cast<std::atomic<long long>*>(memory));
    return true;
}

bool const is_shared = share_clock();

}  // namespace
