#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

/// A program that a test runs. It ends with the object, and by a death signal with the test process, however that ends.
/// It inherits no descriptor of the test above the standard three.
class ChildProcess {
 public:
    struct Launch {
        std::vector<std::string> command;
        std::map<std::string, std::string> environment;  ///< on top of the test's own
        int output = -1;                                 ///< takes both standard outputs; -1: they are dropped
    };

    /// Raises std::runtime_error when no process can be made. A program that can't be run ends with status 127.
    explicit ChildProcess(Launch const& launch);
    ~ChildProcess();
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    pid_t pid() const { return pid_; }
    /// Does nothing once the process has ended.
    void signal(int number);
    bool running();
    /// The status as a shell tells it: the exit status, or 128 and the signal's number. Nothing when the process is
    /// still there after `limit`.
    std::optional<int> wait_exit(std::chrono::milliseconds limit);

 private:
    void look();

    pid_t pid_ = -1;
    std::optional<int> status_;
};

struct Outcome {
    int status = -1;  ///< -1: it didn't end
    std::string output;
};

/// Runs a program to its end, and gives what it wrote to both standard outputs.
Outcome run_to_end(ChildProcess::Launch launch, std::chrono::milliseconds limit = std::chrono::seconds(30));
