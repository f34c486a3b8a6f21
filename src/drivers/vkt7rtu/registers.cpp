#include "drivers/vkt7rtu/registers.h"

#include <algorithm>
#include <iterator>

namespace vkt7rtu {

namespace {

/// Kinds of values.
constexpr unsigned char current = 4;
constexpr unsigned char total = 5;

constexpr RegisterRow rows[] = {
    {0, current, 0, false},
    {1, current, 0, false},
    {2, current, 0, false},
    {3, total, 1, false},
    {4, total, 1, false},
    {5, total, 1, false},
    {6, total, 2, false},
    {7, total, 2, false},
    {8, total, 2, false},
    {9, current, 3, false},
    {10, current, 3, false},
    {11, total, no_precision, false},
    {12, total, 4, false},
    {13, total, 4, false},
    {14, current, 0, false},
    {15, current, 0, false},
    {16, current, 0, false},
    {17, total, 4, false},
    {18, total, 4, false},
    {19, current, no_precision, true},
    {20, current, no_precision, true},
    {21, current, no_precision, true},
    {22, current, 0, false},
    {23, current, 0, false},
    {24, current, 0, false},
    {25, total, 6, false},
    {26, total, 6, false},
    {27, total, 6, false},
    {28, total, 5, false},
    {29, total, 5, false},
    {30, total, 5, false},
    {31, current, 3, false},
    {32, current, 3, false},
    {33, total, no_precision, false},
    {34, total, 7, false},
    {35, total, 7, false},
    {36, current, 0, false},
    {39, total, 7, false},
    {40, total, 7, false},
    {41, current, no_precision, true},
    {42, current, no_precision, true},
    {43, current, no_precision, true},
    {77, current, no_precision, false},
    {78, current, no_precision, false},
    {81, current, no_precision, true},
    {82, current, no_precision, false},
};

}  // namespace

RegisterRow const* find_register(unsigned short number) {
    auto const* const row = std::find_if(std::begin(rows), std::end(rows),
                                         [number](RegisterRow const& entry) { return entry.number == number; });
    return row == std::end(rows) ? nullptr : row;
}

}  // namespace vkt7rtu
