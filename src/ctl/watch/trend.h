#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace watch {

/// The number that a value begins with, a unit behind it or not; none where the text is something else, as a date.
std::optional<double> number_in(std::string_view value);

/// The last numbers of a value.
class Trend {
 public:
    enum class Direction { unknown, steady, up, down };
    static constexpr size_t span = 8;

    void add(double number);
    void clear() { count_ = 0; }
    /// The newest against the mean of the others; a blip among them is no trend.
    Direction direction() const;
    /// As small bars, oldest first, `span` columns at most; empty where there are none to compare.
    std::string bars() const;

 private:
    struct Extent {
        double least;
        double most;
    };

    Extent extent() const;
    static double part_of(Extent const& extent, double number);
    double at(size_t index) const { return numbers_[(next_ + span - count_ + index) % span]; }

    std::array<double, span> numbers_{};
    size_t next_ = 0;
    size_t count_ = 0;
};

}  // namespace watch
