#pragma once

#include <string>

/// Ids of letters, digits, "_" and "-" for names of any kind. They depend on the names alone; two names never give the
/// same, as a short hash stands behind what had to be changed.
namespace ids {

/// Cyrillic is transliterated; of other characters each becomes "_".
std::string of(std::string const& name);
/// Of a parameter: both names with "-" between them.
std::string of(std::string const& device, std::string const& parameter);

}  // namespace ids
