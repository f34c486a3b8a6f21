#pragma once

#include <cstddef>

namespace vkt7rtu {

/// What the dialogue has to know of a register of the calculator.
struct RegisterRow {
    unsigned short number;
    unsigned char kind;     ///< kind of values that it is among
    signed char precision;  ///< which of the calculator's precisions tells its digits; no_precision: it has none
    bool is_float;          ///< comes as a 32-bit float, whose digits no precision touches
};

constexpr signed char no_precision = -1;
/// How many precisions the calculator tells.
constexpr size_t precision_count = 8;

/// Null for a register that isn't among the totals and current values.
RegisterRow const* find_register(unsigned short number);

}  // namespace vkt7rtu
