#include "foundation/xsignal.h"

#include <atomic>
#include <system_error>
#include <thread>

#include <unistd.h>

namespace xCommon {

namespace {

constexpr int termination_signals[] = {SIGTERM, SIGINT, SIGHUP, SIGQUIT};
constexpr int fault_signals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr unsigned int handler_limit_s = 1;

void (*end_handler)(int) = nullptr;
std::atomic_flag fault_seen = ATOMIC_FLAG_INIT;

/// Read at the first use, ahead of any change.
sigset_t const& start_mask() {
    static sigset_t const mask = [] {
        sigset_t current;
        pthread_sigmask(SIG_BLOCK, nullptr, &current);
        return current;
    }();
    return mask;
}

void on_watchdog(int) {
    _exit(1);
}

void run_handler(int number) {
    alarm(handler_limit_s);
    end_handler(number);
    _exit(1);
}

void on_fault(int number) {
    if (fault_seen.test_and_set()) {
        _exit(1);
    }
    // The alarm must reach a thread that can take it, and this one may hang from here on.
    sigset_t only_alarm;
    sigemptyset(&only_alarm);
    sigaddset(&only_alarm, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &only_alarm, nullptr);
    run_handler(number);
}

void wait_for_termination(sigset_t awaited) {
    int number = 0;
    while (sigwait(&awaited, &number) != 0) {
    }
    run_handler(number);
}

}  // namespace

void xSignalHandling::setHandlers2(void (*handler)(int)) {
    end_handler = handler;
    sigset_t awaited;
    sigemptyset(&awaited);
    for (int const number : termination_signals) {
        sigaddset(&awaited, number);
    }
    start_mask();
    pthread_sigmask(SIG_BLOCK, &awaited, nullptr);

    signal(SIGPIPE, SIG_IGN);
    struct sigaction action = {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = on_watchdog;
    sigaction(SIGALRM, &action, nullptr);
    action.sa_handler = on_fault;
    action.sa_flags = SA_NODEFER;  // a fault in the handler comes to it too, and ends the process there
    for (int const number : fault_signals) {
        sigaction(number, &action, nullptr);
    }
    std::thread(wait_for_termination, awaited).detach();
}

sigset_t const& xSignalHandling::original_mask() {
    return start_mask();
}

void xSignalHandling::restore_for_exec() {
    signal(SIGPIPE, SIG_DFL);
    pthread_sigmask(SIG_SETMASK, &original_mask(), nullptr);
}

}  // namespace xCommon
