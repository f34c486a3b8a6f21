#pragma once

#include <exception>

#include "config/cparam.h"

/// Why a parameter that isn't read only takes no write all the same.
enum class Unwritable {
    no,          ///< it takes one
    calculator,  ///< of a heat calculator
    input,       ///< of a module or a slave, that it only shows
    type,        ///< by its `value_type`
    command,     ///< neither read nor written so
};
Unwritable why_not_written(CParam const& param);

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
