#pragma once

#include <csignal>
#include <memory>

namespace xCommon {

/// Gives the calling thread a stack of its own for fault handlers, so that one that has used up its stack can still
/// tell. Keep the object for as long as the thread runs.
class FaultStack {
 public:
    FaultStack();
    ~FaultStack();
    FaultStack(FaultStack const&) = delete;
    FaultStack& operator=(FaultStack const&) = delete;

 private:
    std::unique_ptr<char[]> memory_;
};

class xSignalHandling {
 public:
    /// Blocks TERM, INT, HUP and QUIT on the calling thread and all that it starts from here on. Call it first of all:
    /// one that is pending then waits for setHandlers2().
    static void hold();
    /// Installs `handler`, which must not return, for the end of the process; holds the signals where that hasn't been
    /// done. TERM, INT, HUP and QUIT are taken by one waiting thread, so that the handler runs in ordinary context.
    /// SEGV, BUS, FPE, ILL and ABRT run it once on the faulting thread, behind `fault`, which is called with the
    /// signal's number and name; a backtrace goes to standard error and, where the limits allow one, a core is left by
    /// a child that dies of the same signal. A watchdog ends the process with status 1 if a handler hangs (say, on the
    /// log that the fault has broken). PIPE is ignored.
    static void setHandlers2(void (*handler)(int), void (*fault)(int, char const*) = nullptr);
    /// The signal mask from before setHandlers2(), for children and for the next image of this process.
    static sigset_t const& original_mask();
    /// Puts that mask back on the calling thread, and the default action of PIPE, ahead of an exec.
    static void restore_for_exec();
};

}  // namespace xCommon
