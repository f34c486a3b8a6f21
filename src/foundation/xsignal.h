#pragma once

#include <csignal>

namespace xCommon {

class xSignalHandling {
 public:
    /// Installs `handler`, which must not return, for the end of the process. Call it before any other thread exists.
    /// TERM, INT, HUP and QUIT are blocked everywhere and taken by one waiting thread, so that the handler runs in
    /// ordinary context. SEGV, BUS, FPE, ILL and ABRT run it once on the faulting thread. In both cases a watchdog ends
    /// the process with status 1 if the handler hangs (say, on the log that the fault has broken). PIPE is ignored.
    static void setHandlers2(void (*handler)(int));
    /// The signal mask from before setHandlers2(), for children and for the next image of this process.
    static sigset_t const& original_mask();
    /// Puts that mask back on the calling thread, and the default action of PIPE, ahead of an exec.
    static void restore_for_exec();
};

}  // namespace xCommon
