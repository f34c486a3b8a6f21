#include "ctl/language/phrase.h"

#include <cstdlib>

namespace {

bool russian = false;

/// As the C library takes it: the first of the variables that is set decides.
std::string_view locale_name() {
    for (char const* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        char const* const value = std::getenv(variable);
        if (value != nullptr && *value != '\0') {
            return value;
        }
    }
    return {};
}

}  // namespace

void language::choose(std::string_view name) {
    russian = (name.empty() ? locale_name() : name).starts_with("ru");
}

bool language::is_russian() {
    return russian;
}
