#include "foundation/xsignal.h"

#include <atomic>
#include <cstring>
#include <thread>

#include <execinfo.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "foundation/xmisc.h"

namespace xCommon {

namespace {

constexpr int termination_signals[] = {SIGTERM, SIGINT, SIGHUP, SIGQUIT};
constexpr int fault_signals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr unsigned int handler_limit_s = 1;
/// For the backtrace and the core, which may be large.
constexpr unsigned int fault_limit_s = 30;
constexpr size_t fault_stack_size = size_t{64} * 1024;

void (*end_handler)(int) = nullptr;
void (*fault_handler)(int, char const*) = nullptr;
std::atomic_flag fault_seen = ATOMIC_FLAG_INIT;
enum class Stage : int { none, reporting, telling };
std::atomic<Stage> stage = Stage::none;
std::atomic<int> fault_number = 0;
std::atomic<pthread_t> fault_thread = {};

void unblock(int number) {
    sigset_t only_this;
    sigemptyset(&only_this);
    sigaddset(&only_this, number);
    pthread_sigmask(SIG_UNBLOCK, &only_this, nullptr);
}

void run_handler(int number) {
    alarm(handler_limit_s);
    end_handler(number);
    _exit(1);
}

/// The child has this thread alone, with its stack as it was when the fault came.
void leave_core(int number) {
    rlimit limit = {};
    if (getrlimit(RLIMIT_CORE, &limit) != 0 || limit.rlim_cur == 0) {
        return;
    }
    pid_t const child = _Fork();
    if (child == 0) {
        signal(number, SIG_DFL);
        unblock(number);
        raise(number);
        _exit(1);
    }
    if (child > 0) {
        waitpid(child, nullptr, 0);
    }
}

/// The lines in the log, and the end.
void tell_and_end(int number) {
    stage = Stage::telling;
    // The alarm must reach a thread that can take it, and this one may hang from here on.
    unblock(SIGALRM);
    if (fault_handler != nullptr) {
        alarm(handler_limit_s);
        char const* name = sigabbrev_np(number);
        fault_handler(number, name != nullptr ? name : "?");
    }
    run_handler(number);
}

/// A report that hangs doesn't cost the lines behind it.
void on_watchdog(int) {
    if (stage == Stage::reporting) {
        tell_and_end(fault_number);
    }
    _exit(1);
}

void on_fault(int number) {
    if (fault_seen.test_and_set()) {
        if (pthread_equal(fault_thread, pthread_self()) == 0) {
            for (;;) {
                pause();  // another thread tells of its fault, and ends the process
            }
        }
        if (stage == Stage::reporting) {
            tell_and_end(fault_number);  // a stack that is broken beyond a backtrace
        }
        _exit(1);
    }
    fault_thread = pthread_self();
    fault_number = number;
    stage = Stage::reporting;
    alarm(fault_limit_s);
    void* frames[64];
    backtrace_symbols_fd(frames, backtrace(frames, 64), STDERR_FILENO);
    leave_core(number);
    tell_and_end(number);
}

sigset_t termination_set() {
    sigset_t set;
    sigemptyset(&set);
    for (int const number : termination_signals) {
        sigaddset(&set, number);
    }
    return set;
}

void wait_for_termination() {
    name_thread("signals");
    FaultStack const stack;
    sigset_t const awaited = termination_set();
    int number = 0;
    while (sigwait(&awaited, &number) != 0) {
    }
    run_handler(number);
}

}  // namespace

FaultStack::FaultStack() : memory_(new char[fault_stack_size]) {
    stack_t stack = {};
    stack.ss_sp = memory_.get();
    stack.ss_size = fault_stack_size;
    sigaltstack(&stack, nullptr);
}

FaultStack::~FaultStack() {
    stack_t none = {};
    none.ss_flags = SS_DISABLE;
    sigaltstack(&none, nullptr);
}

void xSignalHandling::hold() {
    original_mask();
    sigset_t const awaited = termination_set();
    pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
}

void xSignalHandling::setHandlers2(void (*handler)(int), void (*fault)(int, char const*)) {
    hold();
    end_handler = handler;
    fault_handler = fault;
    // The first call loads a library, which is nothing for a handler.
    void* frame = nullptr;
    backtrace(&frame, 1);

    signal(SIGPIPE, SIG_IGN);
    struct sigaction action = {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = on_watchdog;
    sigaction(SIGALRM, &action, nullptr);
    action.sa_handler = on_fault;
    action.sa_flags = SA_NODEFER | SA_ONSTACK;  // a fault in the handler comes to it too, and ends the process there
    for (int const number : fault_signals) {
        sigaction(number, &action, nullptr);
    }
    std::thread(wait_for_termination).detach();
}

/// Read at the first use, ahead of any change.
sigset_t const& xSignalHandling::original_mask() {
    static sigset_t const mask = [] {
        sigset_t current;
        pthread_sigmask(SIG_BLOCK, nullptr, &current);
        return current;
    }();
    return mask;
}

void xSignalHandling::restore_for_exec() {
    signal(SIGPIPE, SIG_DFL);
    pthread_sigmask(SIG_SETMASK, &original_mask(), nullptr);
}

}  // namespace xCommon
