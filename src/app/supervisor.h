#pragma once

#include <memory>
#include <string>

#include "app/gateway.h"
#include "app/options.h"

/// The process around the ports: it finds the configuration file, starts what the file asks for, and replaces the whole
/// process with a fresh copy of itself when the file changes. It works on the main thread alone.
class Supervisor {
 public:
    Supervisor(Options options, char* const* argv);

    /// Runs to the end of the process. Returns 1, the process's status, only when it could not replace itself; the end
    /// by a signal or a failure doesn't come back. Raises what the file's reading and normalisation raise.
    int run();

    /// Given to end_of_process() where no signal but a failure ends the process.
    static constexpr int failure_signal = 6;
    /// Ahead of end_of_process(): the line by which a crash can be told from a stop.
    static void tell_fault(int number, char const* name);
    /// Logs the closing line and ends the process with status 1, whatever threads still run.
    [[noreturn]] static void end_of_process(int signal_number);

 private:
    void announce_missing_file() const;
    void find_file() const;
    void watch_file();
    void start();
    bool file_changed();
    void replace_process();

    Options options_;
    char* const* argv_;
    int watch_ = -1;
    std::unique_ptr<Gateway> gateway_;
};

/// Path of the running executable.
std::string executable_path();
