#pragma once

#include <chrono>
#include <iosfwd>
#include <string>

#include "ctl/broker_options.h"

namespace watch {

struct Options {
    BrokerOptions broker;
    std::string filter;
    std::chrono::seconds limit{0};  ///< 0: none told
};

/// The table in the terminal, until it is left, the limit is over or a signal comes. Raises std::runtime_error when the
/// terminal can't be used.
void show_table(Options const& options);

/// Prints the table once the values have come. Raises std::runtime_error when the broker can't be reached, or nothing
/// fits the filter.
void print_table(Options const& options, std::ostream& out);

}  // namespace watch
