#pragma once

#include <string>
#include <utility>
#include <vector>

namespace xCommon {

/// Evaluator of the expressions of the keys `converter_read` and `converter_write`: JavaScript (ES5). A fresh object
/// serves one conversion, nothing carries over from one to the next. The engine has no time limit: an expression that
/// never ends holds its port for ever.
class dukHelper {
 public:
    /// Binds a string variable. A value that isn't UTF-8 is seen as one character for each byte, and a result made of
    /// such characters becomes bytes again.
    void add_param(std::string const& name, std::string const& value);
    /// Evaluates the expression; the value of its last statement, converted to a string, is the result.
    /// A faulty expression raises an xException with the engine's message.
    std::string show(std::string const& expression);

 private:
    std::vector<std::pair<std::string, std::string>> params_;
    bool has_bytes_ = false;
};

}  // namespace xCommon
