#pragma once

#include <string>

/// Which other process has the line locked, as "1234 (ostrand)"; empty where the kernel doesn't tell. A link is
/// followed.
std::string line_holder(std::string const& path);
