#include "ctl/simulate/course.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>
#include <string_view>
#include <vector>

#include "foundation/xstring.h"

namespace sim {

namespace {

using Range = Course::Range;

constexpr double wave_s = 60;
constexpr double blink_s = 4;
/// Steps that what rises takes in a second.
constexpr double steps_a_second = 3;

struct Unit {
    std::string_view name;
    double low;
    double high;
    bool rises = false;
};

constexpr Unit units[] = {
    {"°C", 15, 60},
    {"°F", 60, 140},
    {"C", 15, 60},
    {"V", 215, 235},
    {"В", 215, 235},
    {"mV", 215000, 235000},
    {"A", 1, 9},
    {"А", 1, 9},
    {"mA", 4, 20},
    {"W", 500, 1500},
    {"Вт", 500, 1500},
    {"kW", 0.5, 3},
    {"кВт", 0.5, 3},
    {"Hz", 49.9, 50.1},
    {"Гц", 49.9, 50.1},
    {"%", 10, 90},
    {"bar", 2, 4},
    {"бар", 2, 4},
    {"MPa", 0.2, 0.6},
    {"МПа", 0.2, 0.6},
    {"m3/h", 1, 3},
    {"м3/ч", 1, 3},
    {"rpm", 800, 1500},
    {"Wh", 1e5, 1e9, true},
    {"varh", 1e5, 1e9, true},
    {"kWh", 1e3, 1e6, true},
    {"kvarh", 1e3, 1e6, true},
    {"MWh", 10, 1e5, true},
    {"кВт·ч", 1e3, 1e6, true},
    {"m3", 100, 1e5, true},
    {"м3", 100, 1e5, true},
    {"GJ", 10, 1e5, true},
    {"ГДж", 10, 1e5, true},
    {"Gcal", 10, 1e5, true},
    {"Гкал", 10, 1e5, true},
};

constexpr std::string_view rising_words[] = {"energy", "pulse",  "count",  "total",  "volume",
                                             "heat",   "uptime", "octets", "packets"};

Unit const* unit_of(CParam const& param) {
    auto const* const row = std::find_if(std::begin(units), std::end(units),
                                         [&param](Unit const& unit) { return unit.name == param.unit; });
    return row == std::end(units) ? nullptr : row;
}

double factor(CParam const& param) {
    return param.has_scale ? param.scale : 1;
}

std::string plain_text(double raw, double step) {
    return step >= 1 ? std::to_string(std::llround(raw)) : xCommon::xString::Format("%.6f", raw);
}

/// Raw values from one end of what the wire can hold to the other, close together around 0.
std::vector<double> samples(Carrier const& carrier) {
    constexpr int count = 60;
    double const farthest = std::max(std::abs(carrier.least), std::abs(carrier.most));
    double const growth = std::pow(std::max(farthest / carrier.step, 2.0), 1.0 / count);
    std::vector<double> values = {0};
    for (double value = carrier.step; values.size() <= count + 1; value *= growth) {
        values.push_back(std::round(value / carrier.step) * carrier.step);
    }
    for (size_t index = values.size(); index-- > 1;) {
        values.push_back(-values[index]);
    }
    std::erase_if(values, [&](double value) { return value < carrier.least || value > carrier.most; });
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

/// What is published, without its correction; nothing where neither the unit nor limits tell it.
std::optional<Range> wanted(CParam const& param) {
    double const least = param.has_min ? param.min : -std::numeric_limits<double>::infinity();
    double const most = param.has_max ? param.max : std::numeric_limits<double>::infinity();
    if (Unit const* const unit = unit_of(param)) {
        Range const both{std::max(unit->low, least), std::min(unit->high, most)};
        if (both.low < both.high) {
            return both;
        }
    }
    if (param.has_min && param.has_max) {
        double const margin = (most - least) / 4;
        return Range{least + margin, most - margin};
    }
    if (param.has_min) {
        return Range{least, least + std::max(10.0, std::abs(least))};
    }
    if (param.has_max) {
        return Range{most - std::max(10.0, std::abs(most)), most};
    }
    return std::nullopt;
}

/// Looks for raw values whose texts the daemon publishes.
class Search {
 public:
    Search(CParam& param, Carrier const& carrier, Course::Reading const& reading)
        : param_(param), carrier_(carrier), reading_(reading) {}

    /// To the nearest steps within.
    Range inward(Range const& raw) const {
        constexpr double slack = 1e-6;
        double const step = carrier_.step;
        return {std::max(std::ceil(raw.low / step - slack) * step, carrier_.least),
                std::min(std::floor(raw.high / step + slack) * step, carrier_.most)};
    }
    /// Both ends and the middle; `shown` is what is wanted beside the limits.
    bool all_fit(Range const& raw, std::optional<Range> const& shown) const {
        double const middle = std::round((raw.low + raw.high) / 2 / carrier_.step) * carrier_.step;
        return raw.low <= raw.high && fits(raw.low, shown) && fits(raw.high, shown) && fits(middle, shown);
    }
    std::optional<Range> by_scale(Range const& shown) const;
    /// The longest run of values that fit.
    std::optional<Range> by_trying(std::optional<Range> const& shown) const;

 private:
    bool fits(double raw, std::optional<Range> const& shown) const;
    double edge(double fitting, double missing, std::optional<Range> const& shown) const;

    CParam& param_;
    Carrier const& carrier_;
    Course::Reading const& reading_;
};

bool Search::fits(double raw, std::optional<Range> const& shown) const {
    constexpr double slack = 1e-5;
    try {
        std::string const text = reading_(raw);
        if (!param_.check_value(text)) {
            return false;
        }
        if (!shown) {
            return true;
        }
        double const value = std::stof(text) * factor(param_);
        double const room = slack * std::max(std::abs(shown->low), std::abs(shown->high));
        return value >= shown->low - room && value <= shown->high + room;
    } catch (std::exception const&) {
        return false;  // the daemon couldn't make anything of it
    }
}

std::optional<Range> Search::by_scale(Range const& shown) const {
    double const scale = factor(param_);
    if (scale == 0) {
        return std::nullopt;
    }
    double const ends[] = {shown.low / scale, shown.high / scale};
    Range const raw = inward({std::min(ends[0], ends[1]), std::max(ends[0], ends[1])});
    for (double const margin : {0.0, carrier_.step}) {
        Range const narrowed{raw.low + margin, raw.high - margin};
        if (all_fit(narrowed, shown)) {
            return narrowed;
        }
    }
    return std::nullopt;
}

std::optional<Range> Search::by_trying(std::optional<Range> const& shown) const {
    std::vector<double> const raws = samples(carrier_);
    size_t best = 0;
    size_t most = 0;
    for (size_t at = 0, length = 0; at < raws.size(); ++at) {
        length = fits(raws[at], shown) ? length + 1 : 0;
        if (length > most) {
            most = length;
            best = at + 1 - length;
        }
    }
    if (most == 0) {
        return std::nullopt;
    }
    Range run{raws[best], raws[best + most - 1]};
    if (best > 0) {
        run.low = edge(run.low, raws[best - 1], shown);
    }
    if (best + most < raws.size()) {
        run.high = edge(run.high, raws[best + most], shown);
    }
    return run;
}

/// The last value that fits on the way to one that doesn't.
double Search::edge(double fitting, double missing, std::optional<Range> const& shown) const {
    double const step = carrier_.step;
    while (std::abs(missing - fitting) > 1.5 * step) {
        double const middle = std::round((fitting + missing) / 2 / step) * step;
        (fits(middle, shown) ? fitting : missing) = middle;
    }
    return fitting;
}

}  // namespace

bool is_rising(CParam const& param) {
    if (Unit const* const unit = unit_of(param)) {
        return unit->rises;
    }
    std::string const name = xCommon::xString::ToLower(param.name);
    return std::any_of(std::begin(rising_words), std::end(rising_words),
                       [&name](std::string_view word) { return name.find(word) != std::string::npos; });
}

bool blinks(double seconds, int number) {
    return std::fmod(seconds / (1.5 + number % 4), 2) >= 1;
}

Course::Course(CParam& param, Carrier const& carrier, Reading const& reading)
    : step_(carrier.step),
      rises_(is_rising(param)),
      phase_(static_cast<double>(std::hash<std::string>()(param.name) % 97) / 97),
      range_(within_limits(
          param, carrier, reading ? reading : [step = carrier.step](double raw) { return plain_text(raw, step); })) {}

/// Where nothing tells what is usual.
Course::Range Course::usual_raw(Carrier const& carrier) const {
    constexpr double low = 100;
    constexpr double high = 1000;
    constexpr double highest_count = 1e6;
    if (carrier.most - carrier.least <= step_) {
        return {carrier.least, carrier.most};
    }
    if (rises_) {
        return {std::max(carrier.least, 0.0), std::min(carrier.most, highest_count)};
    }
    return {std::max(carrier.least, std::min(low, 0.2 * carrier.most)), std::min(high, 0.8 * carrier.most)};
}

Course::Range Course::within_limits(CParam& param, Carrier const& carrier, Reading const& reading) const {
    Search const search(param, carrier, reading);
    std::optional<Range> const shown = wanted(param);
    Range const usual = search.inward(usual_raw(carrier));
    // A scale alone is undone; what an expression does is found by trying.
    std::optional<Range> found = shown ? search.by_scale(*shown) : std::nullopt;
    if (!found && !shown && search.all_fit(usual, shown)) {
        found = usual;
    }
    if (!found) {
        found = search.by_trying(shown);
    }
    if (!found) {
        found = search.by_trying(std::nullopt);
    }
    Range const least{carrier.least, carrier.least};
    return found ? *found : usual.low <= usual.high ? usual : least;
}

double Course::rate() const {
    return steps_a_second * step_;
}

double Course::at(double seconds) const {
    double const width = range_.high - range_.low;
    double value = range_.low;
    if (rises_ && width > 0) {
        value += std::fmod(phase_ * width / 10 + rate() * seconds, width);
    } else {
        double const period = width <= step_ ? blink_s : wave_s;
        value += width * (0.5 + 0.5 * std::sin(2 * std::numbers::pi * (seconds / period + phase_)));
    }
    return std::clamp(std::round(value / step_) * step_, range_.low, range_.high);
}

long long Course::whole_at(double seconds) const {
    return std::llround(at(seconds));
}

}  // namespace sim
