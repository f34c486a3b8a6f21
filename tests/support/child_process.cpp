#include "support/child_process.h"

#include <csignal>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ctl/line/wait_until.h"
#include "support/temp_folder.h"

namespace {

std::vector<std::string> merged_environment(std::map<std::string, std::string> const& more) {
    std::map<std::string, std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        std::string const text = *entry;
        size_t const split = text.find('=');
        if (split != std::string::npos) {
            all[text.substr(0, split)] = text.substr(split + 1);
        }
    }
    for (auto const& [name, value] : more) {
        all[name] = value;
    }
    std::vector<std::string> result;
    for (auto const& [name, value] : all) {
        result.push_back(name + "=" + value);
    }
    return result;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

/// Between fork and exec, where other threads of the test may hold any lock: system calls only.
[[noreturn]] void become(char* const* command, char* const* environment, int output, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(127);
    }
    int const nothing = open("/dev/null", O_RDWR);
    dup2(nothing, STDIN_FILENO);
    dup2(output >= 0 ? output : nothing, STDOUT_FILENO);
    dup2(output >= 0 ? output : nothing, STDERR_FILENO);
    syscall(SYS_close_range, 3U, ~0U, CLOSE_RANGE_CLOEXEC);
    signal(SIGPIPE, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execve(command[0], command, environment);
    _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(Launch const& launch) {
    std::vector<std::string> command = launch.command;
    std::vector<std::string> environment = merged_environment(launch.environment);
    std::vector<char*> const argv = pointers(command);
    std::vector<char*> const envp = pointers(environment);
    pid_t const parent = getpid();
    pid_ = fork();
    if (pid_ < 0) {
        throw std::runtime_error(std::string("fork : ") + std::strerror(errno));
    }
    if (pid_ == 0) {
        become(argv.data(), envp.data(), launch.output, parent);
    }
}

ChildProcess::~ChildProcess() {
    signal(SIGKILL);
    while (running()) {
        wait_exit(std::chrono::seconds(1));
    }
}

void ChildProcess::signal(int number) {
    if (running()) {
        kill(pid_, number);
    }
}

void ChildProcess::look() {
    if (status_) {
        return;
    }
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
}

bool ChildProcess::running() {
    look();
    return !status_;
}

std::optional<int> ChildProcess::wait_exit(std::chrono::milliseconds limit) {
    wait_until([this] { return !running(); }, limit);
    return status_;
}

Outcome run_to_end(ChildProcess::Launch launch, std::chrono::milliseconds limit) {
    TempFolder const folder;
    std::string const path = folder.file("output");
    launch.output = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    ChildProcess process(launch);
    close(launch.output);
    int const status = process.wait_exit(limit).value_or(-1);
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return {status, text.str()};
}
