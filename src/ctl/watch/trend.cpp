#include "ctl/watch/trend.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace watch {

namespace {

/// A part of the mean below which a difference is none.
constexpr double steady_part = 0.001;
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

Trend::Direction Trend::direction() const {
    if (count_ < 2) {
        return Direction::unknown;
    }
    double mean = 0;
    for (size_t index = 0; index + 1 < count_; ++index) {
        mean += at(index) / static_cast<double>(count_ - 1);
    }
    double const difference = at(count_ - 1) - mean;
    if (std::abs(difference) <= std::abs(mean) * steady_part) {
        return Direction::steady;
    }
    return difference > 0 ? Direction::up : Direction::down;
}

std::string Trend::bars() const {
    if (count_ < 2) {
        return {};
    }
    double least = at(0);
    double most = at(0);
    for (size_t index = 1; index < count_; ++index) {
        least = std::min(least, at(index));
        most = std::max(most, at(index));
    }
    std::string text;
    for (size_t index = 0; index < count_; ++index) {
        // Halved, so that the distance of two huge numbers is one too.
        double const part = most > least ? (at(index) / 2 - least / 2) / (most / 2 - least / 2) : 0;
        text += bar_texts[std::min(static_cast<size_t>(std::lround(part * last_bar)), last_bar)];
    }
    return text;
}

}  // namespace watch
