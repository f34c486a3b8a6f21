#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "foundation/xmisc.h"
#include "foundation/xsignal.h"
#include "support/temp_folder.h"

using xCommon::xSignalHandling;
using xCommon::xSystem;

namespace {

constexpr unsigned int limit_s = 30;

/// Runs `body` in a child process, which is ended at the time limit; gives its wait status.
template <typename Body>
int in_child(Body body) {
    pid_t const child = fork();
    if (child == 0) {
        alarm(limit_s);
        body();
        _exit(99);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

void block_nothing() {
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

testing::Matcher<int> exits_with(int code) {
    return testing::ResultOf(
        "exit status", [](int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status); },
        testing::Eq(code));
}

size_t open_descriptors() {
    auto const all = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

/// The hexadecimal mask in a line of /proc/PID/status, such as "SigBlk:\t0000000000000000".
unsigned long long mask_of(std::string const& line) {
    size_t const colon = line.find(':');
    return colon == std::string::npos ? ~0ULL : std::stoull(line.substr(colon + 1), nullptr, 16);
}

constexpr unsigned long long bit_of(int number) {
    return 1ULL << (number - 1);
}

[[noreturn]] void wait_for_the_end() {
    for (;;) {
        pause();
    }
}

}  // namespace

TEST(Shell, ResultIsWhatWasPrinted) {
    std::pair<char const*, std::string> const rows[] = {
        {"echo one", "one"},
        {"echo $0", "sh"},
        {"printf 'a\\n\\n'", "a\n"},
        {"printf 'no end'", "no end"},
        {"true", ""},
        {"echo before; exit 3", "before"},
        {"echo lost >&2", ""},
        {"nosuch-command-of-ours 2>&-", ""},
        {"head -c 300000 /dev/zero | tr '\\0' x", std::string(300000, 'x')},
    };
    testing::internal::CaptureStderr();
    size_t const descriptors = open_descriptors();
    for (auto const& [command, printed] : rows) {
        EXPECT_EQ(xSystem::ExecAndGetResult(command), printed) << command;
    }
    EXPECT_EQ(open_descriptors(), descriptors);
    testing::internal::GetCapturedStderr();
}

TEST(Shell, NobodyIsLeftBehind) {
    EXPECT_EQ(xSystem::ExecAndGetResult("kill -9 $$"), "");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(Shell, ChildHasTheSignalsOfTheStart) {
    int const status = in_child([] {
        char const* const command = "grep SigBlk /proc/self/status";
        char const* const ignored = "grep SigIgn /proc/self/status";
        block_nothing();
        std::signal(SIGPIPE, SIG_DFL);
        xSignalHandling::setHandlers2([](int) {});
        raise(SIGPIPE);  // is ignored
        bool const same_mask = mask_of(xSystem::ExecAndGetResult(command)) == 0;
        bool const pipe_ends_it = (mask_of(xSystem::ExecAndGetResult(ignored)) & bit_of(SIGPIPE)) == 0;
        // The same from a thread, which blocks the signals as all do.
        bool thread_too = false;
        std::thread([&] { thread_too = mask_of(xSystem::ExecAndGetResult(command)) == 0; }).join();
        _exit((same_mask ? 1 : 0) + (pipe_ends_it ? 2 : 0) + (thread_too ? 4 : 0));
    });
    EXPECT_THAT(status, exits_with(7));
}

TEST(Signals, OneThatIsPendingAtTheStartWaitsForTheHandler) {
    int const status = in_child([] {
        xSignalHandling::hold();
        kill(getpid(), SIGTERM);
        xSignalHandling::setHandlers2([](int taken) { _exit(taken + 100); });
        wait_for_the_end();
    });
    EXPECT_THAT(status, exits_with(SIGTERM + 100));
}

TEST(Signals, EachEndsInTheHandlerOnce) {
    for (int const number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
        int const status = in_child([number] {
            xSignalHandling::setHandlers2([](int taken) { _exit(taken + 100); });
            kill(getpid(), number);
            wait_for_the_end();
        });
        EXPECT_THAT(status, exits_with(number + 100)) << strsignal(number);
    }
}

TEST(Signals, HandlerOfATerminationIsNoSignalHandler) {
    // It takes a lock that the interrupted code may hold: in the context of a signal this would never end.
    int const status = in_child([] {
        static std::mutex held;
        static std::atomic<bool> waiting = false;
        xSignalHandling::setHandlers2([](int) {
            waiting = true;
            std::lock_guard const lock(held);
            _exit(42);
        });
        {
            std::lock_guard const lock(held);
            kill(getpid(), SIGTERM);
            while (!waiting) {
                std::this_thread::yield();
            }
        }
        wait_for_the_end();
    });
    EXPECT_THAT(status, exits_with(42));
}

TEST(Signals, HandlerThatHangsOrFaultsEndsWithStatusOne) {
    struct Row {
        char const* guards;
        int number;
        void (*handler)(int);
    };
    Row const rows[] = {
        {"termination, hangs", SIGTERM, [](int) { wait_for_the_end(); }},
        {"fault, hangs", SIGSEGV, [](int) { wait_for_the_end(); }},
        {"fault, faults again", SIGSEGV, [](int) { raise(SIGABRT); }},
        {"fault, returns", SIGFPE, [](int) {}},
        {"termination, returns", SIGTERM, [](int) {}},
    };
    for (Row const& row : rows) {
        int const status = in_child([&row] {
            xSignalHandling::setHandlers2(row.handler);
            kill(getpid(), row.number);
            wait_for_the_end();
        });
        EXPECT_THAT(status, exits_with(1)) << row.guards;
    }
}

TEST(Signals, ExecGetsTheOldMaskBack) {
    int const status = in_child([] {
        block_nothing();
        xSignalHandling::setHandlers2([](int) {});
        xSignalHandling::restore_for_exec();
        execl("/bin/sh", "sh", "-c",
              "grep -q 'SigBlk:.0000000000000000' /proc/self/status && "
              "test $((0x$(sed -n 's/SigIgn:.//p' /proc/self/status) & 0x1000)) -eq 0",
              nullptr);
    });
    EXPECT_THAT(status, exits_with(0));
}

TEST(System, AThreadIsNamedAfterRoleAndOwner) {
    std::thread([] {
        char name[32] = {};
        for (auto const& [owner, expected] : {std::pair{"", "mqtt"}, {"0123456789#", "mqtt:0123456789"}}) {
            xCommon::name_thread("mqtt", owner);
            pthread_getname_np(pthread_self(), name, sizeof(name));
            EXPECT_STREQ(name, expected);
        }
    }).join();
}

TEST(Memory, PagesThatLieInAFileAreGivenBackAndNoneThatWasWritten) {
    constexpr size_t size = size_t{32} << 20;
    TempFolder const folder;
    int const fd = open(folder.write("library", std::string(size, 'x')).c_str(), O_RDONLY | O_CLOEXEC);
    void* const clean = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, 0);
    auto* const written = static_cast<char*>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE, fd, 0));
    close(fd);
    *written = 'y';
    mprotect(written, 4096, PROT_READ);  // as the linker leaves what it has filled in
    double vm = 0;
    double before = 0;
    double behind = 0;
    xSystem::mem_usage(vm, before);
    xSystem::GiveBackMemory();
    xSystem::mem_usage(vm, behind);
    EXPECT_LT(behind, before - 30.0 * 1024);
    EXPECT_EQ(*written, 'y');
    munmap(clean, size);
    munmap(written, 4096);
}

TEST(Memory, IsThatOfThisProcess) {
    double vm = 0;
    double resident = 0;
    xSystem::mem_usage(vm, resident);
    EXPECT_GT(resident, 1000);  // KiB
    EXPECT_GT(vm, resident);
    EXPECT_LT(resident, 16.0 * 1024 * 1024);
}
