#pragma once

#include <optional>

#include "config/cparam.h"
#include "ctl/language/phrase.h"

/// Why a parameter that isn't read only takes no write all the same; nothing where it takes one.
std::optional<Phrase> why_not_written(CParam const& param);

/// What a step raises counts as a no.
template <typename Step>
bool raises(Step step) {
    try {
        step();
        return false;
    } catch (std::exception const&) {
        return true;
    }
}
