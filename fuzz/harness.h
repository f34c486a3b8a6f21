#pragma once

#include <functional>
#include <string>
#include <vector>

/// Random bytes for everything that reads what came from outside. A target is fed bytes that lie in an allocation of
/// exactly their size, so that AddressSanitizer sees each read behind their end.
namespace fuzz {

using Bytes = std::vector<unsigned char>;

/// Good inputs, from which others are made by small changes, taken from the scenarios.
struct Seeds {
    enum class Kind { none, replies, configurations, files };

    std::string folder = {};  ///< below tests/scenarios; "" takes all of them
    size_t skipped = 0;       ///< bytes of a reply ahead of what the target reads
    size_t dropped = 0;       ///< and behind it
    Kind kind = Kind::replies;
};

struct Target {
    std::string name;
    /// Must return, or raise an exception derived from std::exception.
    std::function<void(Bytes& input)> run;
    Seeds seeds;
    /// More of them, as frames in a scenario.
    std::vector<std::string> more;
    /// Bytes of a wholly random input at most.
    size_t longest = 64;
    /// One of so many inputs is fed: it is slow.
    unsigned long cost = 1;
};

std::vector<Target> const& targets();

}  // namespace fuzz
