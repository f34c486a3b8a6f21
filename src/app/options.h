#pragma once

#include <string>

/// What the command line says. Unknown options are skipped; none of them ends the program.
struct Options {
    /// Parses -c path, -l file name, -d, -h, -v. The arguments are left as they are.
    static Options parse(int argc, char* const* argv);

    std::string config_path;
    bool config_given = false;
    std::string log_name;
    bool debug = false;      ///< -d: log detail stays on after the start
    bool print_hex = false;  ///< -h: frames in hexadecimal
    bool verbose = false;    ///< -v: each log line on standard error too
};
