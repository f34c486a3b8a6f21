#pragma once

#include <iosfwd>
#include <string>

/// Where the far end of a line is served.
struct ReplayOptions {
    std::string scenario;
    std::string port = {};  ///< empty: the only one
    std::string link = {};  ///< a pseudo-terminal under this path,
    int tcp = -1;           ///< or this port of the loopback address, 0 for a free one
    bool fast = false;      ///< without pauses
};

/// Answers by a scenario's rows until SIGINT or SIGTERM. Tells on `out` where it listens, and each request that no row
/// knows. Raises std::runtime_error.
void replay(ReplayOptions const& options, std::ostream& out);
