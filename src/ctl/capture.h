#pragma once

#include <iosfwd>
#include <string>

/// What a capture is made of.
struct CaptureOptions {
    std::string log;     ///< a log of `ostrand -h`
    std::string config;  ///< the configuration that was in force
    std::string port;
    std::string device = {};  ///< empty: all of the port
    int passes = 3;           ///< at most
};

/// Writes a scenario with the requests, replies and pauses of a port as the log has them, and with the values that the
/// drivers make of them. `notes` takes a line for each thing that doesn't fit together. Raises std::runtime_error when
/// there is nothing to capture, and what reading the files raises.
void capture(CaptureOptions const& options, std::ostream& scenario, std::ostream& notes);
