#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "foundation/xexception.h"

namespace xCommon {

/// An expression that took more than dukHelper allows.
class ExpressionLimit : public xException {
    using xException::xException;
};

/// Evaluator of the expressions of the keys `converter_read` and `converter_write`: JavaScript (ES5). A fresh object
/// serves one conversion, nothing carries over from one to the next: see dukEngine.
class dukHelper {
 public:
    /// What one conversion may take.
    static constexpr std::chrono::milliseconds time_limit{5000};
    static constexpr size_t memory_limit = size_t{16} * 1024 * 1024;

    /// Binds a string variable. A value that isn't UTF-8 is seen as one character for each byte, and a result made of
    /// such characters becomes bytes again.
    void add_param(std::string const& name, std::string const& value);
    /// Evaluates the expression; the value of its last statement, converted to a string, is the result.
    /// A faulty expression raises an xException with the engine's message, one that goes beyond a limit an
    /// ExpressionLimit.
    std::string show(std::string const& expression);

 private:
    std::vector<std::pair<std::string, std::string>> params_;
    bool has_bytes_ = false;
};

}  // namespace xCommon
