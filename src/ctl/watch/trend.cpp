#include "ctl/watch/trend.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace watch {

namespace {

/// Of the span between the least and the most: a difference below it is none.
constexpr double steady_part = 0.25;
constexpr std::string_view bar_texts[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr size_t last_bar = std::size(bar_texts) - 1;

/// What, right behind a number, makes another thing of it.
bool goes_on(char c) {
    constexpr std::string_view symbols = "_.,:/-+";
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           symbols.find(c) != std::string_view::npos;
}

}  // namespace

std::optional<double> number_in(std::string_view value) {
    value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
    double number = 0;
    auto const [end, code] = std::from_chars(value.data(), value.data() + value.size(), number);
    bool const is_whole = end == value.data() + value.size() || !goes_on(*end);
    return code == std::errc() && is_whole && std::isfinite(number) ? std::optional(number) : std::nullopt;
}

void Trend::add(double number) {
    numbers_[next_] = number;
    next_ = (next_ + 1) % span;
    count_ = std::min(count_ + 1, span);
}

Trend::Extent Trend::extent() const {
    Extent extent{at(0), at(0)};
    for (size_t index = 1; index < count_; ++index) {
        extent.least = std::min(extent.least, at(index));
        extent.most = std::max(extent.most, at(index));
    }
    return extent;
}

Trend::Direction Trend::direction() const {
    if (count_ < 2) {
        return Direction::unknown;
    }
    double mean = 0;
    for (size_t index = 0; index + 1 < count_; ++index) {
        mean += part_of(extent(), at(index)) / static_cast<double>(count_ - 1);
    }
    double const difference = part_of(extent(), at(count_ - 1)) - mean;
    if (std::abs(difference) < steady_part) {
        return Direction::steady;
    }
    return difference > 0 ? Direction::up : Direction::down;
}

std::string Trend::bars() const {
    std::string text;
    for (size_t index = 0; count_ > 1 && index < count_; ++index) {
        text += bar_texts[static_cast<size_t>(std::lround(part_of(extent(), at(index)) * last_bar))];
    }
    return text;
}

/// 0 for the least and 1 for the most. Halved, so that the distance of two huge numbers is a number too.
double Trend::part_of(Extent const& extent, double number) {
    double const span_half = extent.most / 2 - extent.least / 2;
    return span_half > 0 ? std::clamp((number / 2 - extent.least / 2) / span_half, 0.0, 1.0) : 0;
}

}  // namespace watch
