#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "foundation/xmisc.h"
#include "foundation/xsignal.h"

namespace xCommon {

namespace {

/// Starts "/bin/sh -c command" with `output` as its standard output. Gives -1 on failure.
/// system() and popen() would hand the blocked termination signals of this process on to the child.
pid_t start_shell(std::string const& command, int output) {
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_init(&actions);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setsigmask(&attributes, &xSignalHandling::original_mask());
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    std::string text = command;
    char shell[] = "sh";
    char option[] = "-c";
    char* const arguments[] = {shell, option, text.data(), nullptr};
    pid_t child = -1;
    if (posix_spawn(&child, "/bin/sh", &actions, &attributes, arguments, environ) != 0) {
        child = -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return child;
}

}  // namespace

void xSystem::ShareMemory() {
    mallopt(M_ARENA_MAX, 1);
}

void xSystem::GiveBackMemory() {
    malloc_trim(0);
    // Not by a stream: its library would come back into memory with it.
    std::unique_ptr<FILE, int (*)(FILE*)> const maps(std::fopen("/proc/self/smaps", "re"), &std::fclose);
    std::array<char, 4096> line{};
    unsigned long begin = 0;
    unsigned long end = 0;
    bool is_file = false;
    while (maps && std::fgets(line.data(), static_cast<int>(line.size()), maps.get()) != nullptr) {
        unsigned long from = 0;
        unsigned long to = 0;
        unsigned long own = 0;
        std::array<char, 5> access{};
        if (std::sscanf(line.data(), "%lx-%lx %4s", &from, &to, access.data()) == 3) {
            begin = from;
            end = to;
            is_file = access[1] == '-' && std::strchr(line.data(), '/') != nullptr;
        } else if (std::sscanf(line.data(), "Anonymous: %lu", &own) == 1) {
            is_file = is_file && own == 0;
        } else if (std::sscanf(line.data(), "Swap: %lu", &own) == 1 && is_file && own == 0) {
            // Nothing in it differs from the file: not so where the linker has filled in addresses.
            // NOLINTNEXTLINE(performance-no-int-to-ptr): the kernel tells it as text
            madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
        }
    }
}

std::string xSystem::ExecAndGetResult(std::string const& command) {
    std::string result;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return result;
    }
    pid_t const child = start_shell(command, ends[1]);
    close(ends[1]);
    if (child >= 0) {
        char piece[512];
        for (;;) {
            ssize_t const count = read(ends[0], piece, sizeof(piece));
            if (count > 0) {
                result.append(piece, static_cast<size_t>(count));
            } else if (count == 0 || errno != EINTR) {
                break;
            }
        }
        while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    close(ends[0]);
    if (!result.empty() && result.back() == '\n') {
        result.pop_back();
    }
    return result;
}

bool xSystem::Touch(std::string const& path) {
    int const fd = open(path.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    bool const touched = fd >= 0 && futimens(fd, nullptr) == 0;
    int const error = errno;
    if (fd >= 0) {
        close(fd);
    }
    errno = error;
    return touched;
}

void xSystem::mem_usage(double& vm, double& resident) {
    vm = 0;
    resident = 0;
    std::unique_ptr<FILE, int (*)(FILE*)> const pages(std::fopen("/proc/self/statm", "re"), &std::fclose);
    if (pages && std::fscanf(pages.get(), "%lf %lf", &vm, &resident) == 2) {
        double const page_kib = static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
        vm *= page_kib;
        resident *= page_kib;
    }
}

}  // namespace xCommon
