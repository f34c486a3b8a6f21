#pragma once

#include <set>
#include <string>
#include <vector>

/// What a check has found.
struct Finding {
    std::string file;
    size_t line = 1;
    size_t column = 1;
    bool is_error = true;
    std::string path;  ///< of the element, as a person finds it
    std::string key;   ///< empty: the element as a whole
    std::string text;
    std::string name = {};           ///< of a warning, as --no-warn takes it
    std::set<std::string> log = {};  ///< lines that the daemon writes of it
};

/// One line each, in the form of a compiler's messages.
std::string as_text(std::vector<Finding> const& findings);
/// An array of objects.
std::string as_json(std::vector<Finding> const& findings);
