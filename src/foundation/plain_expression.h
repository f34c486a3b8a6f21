#pragma once

#include <string_view>

namespace xCommon {

/// True for an expression that certainly leaves nothing behind in the engine: numbers, texts, the variable `value`,
/// operators that assign nothing, and a few functions and methods that only compute. False where that isn't seen at a
/// glance, which costs no more than some time.
bool is_plain_expression(std::string_view expression);

}  // namespace xCommon
