#pragma once

#include <chrono>
#include <string>

namespace xCommon {

/// Gives the calling thread a name that `ps -L` and a debugger show: `role`, and behind a colon `owner`, cut at the 15
/// bytes that the kernel keeps.
void name_thread(char const* role, std::string const& owner = "");

/// Small helpers without a better home.
class xMisc {
 public:
    /// Sleeps `milliseconds` on the calling thread; a signal doesn't shorten the sleep, 0 or less is no sleep.
    static void delay(int milliseconds);
    /// `value` times `scale` in single precision, rounded half away from zero to `precision` digits behind the point.
    static float round(float value, float scale, int precision);
    /// "0" to "1" and "1" to "0"; any other text stays.
    static std::string Invert(std::string const& text);
};

class xSystem {
 public:
    /// Runs a shell command and gives what it printed without its last line feed; empty if it could not be started. The
    /// child gets the signal mask and dispositions that this process was started with.
    static std::string ExecAndGetResult(std::string const& command);
    /// Sets a file's times to now, as the command `touch` does and with the same events for who watches it, but makes
    /// no missing file. False, with errno, if that can't be done.
    static bool Touch(std::string const& path);
    /// One heap for all threads, in place of one for each: what a thread frees serves the others. Ahead of the first
    /// thread.
    static void ShareMemory();
    /// Gives back what only the start needed: freed heap, and pages of program and libraries, of which the kernel maps
    /// those again that are used.
    static void GiveBackMemory();
    /// Virtual and resident memory of this process in KiB; 0 when the kernel doesn't tell.
    static void mem_usage(double& vm, double& resident);
};

/// Clocks. time() and mono() are whole seconds of the calendar; mono() is the calendar at process start plus steady
/// time since, so that a clock set back or forth doesn't move it. steady() is for shorter spans.
class xtime {
 public:
    static long long time();
    static long long mono();
    static std::chrono::steady_clock::time_point steady();
};

}  // namespace xCommon
