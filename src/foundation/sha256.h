#pragma once

#include <string>
#include <string_view>

namespace xCommon {

/// SHA-256 in 64 hexadecimal digits, the letters lower case.
std::string sha256(std::string_view bytes);

}  // namespace xCommon
