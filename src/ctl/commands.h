#pragma once

#include <CLI/CLI.hpp>

/// What a command line ends with.
enum Status : int {
    status_ok = 0,
    status_failed = 1,   ///< done, and found or met what shouldn't be
    status_refused = 2,  ///< the command line or the file can't be used
};

/// The commands of the companion: each enters its options, and a callback that does the work and sets the status. What
/// a callback raises is told on standard error and gives 1, an UnreadableFile 2.
void add_check(CLI::App& app, int& status);
void add_topics(CLI::App& app, int& status);
void add_schema(CLI::App& app, int& status);
void add_capture(CLI::App& app, int& status);
void add_replay(CLI::App& app, int& status);
void add_watch(CLI::App& app, int& status);
void add_simulate(CLI::App& app, int& status);
void add_keys(CLI::App& app, int& status);
void add_read(CLI::App& app, int& status);
void add_write(CLI::App& app, int& status);
void add_scan(CLI::App& app, int& status);
