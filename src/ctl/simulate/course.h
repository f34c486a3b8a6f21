#pragma once

#include <functional>
#include <string>

#include "config/cparam.h"

namespace sim {

/// What the wire can hold of a value: raw numbers, and the smallest difference between two of them.
struct Carrier {
    double least;
    double most;
    double step = 1;
};

/// How the raw value of a parameter moves: what its unit makes plausible, within its limits and what the wire can
/// hold. Counters and energies rise, everything else goes up and down once a minute, what has two states every few
/// seconds.
class Course {
 public:
    /// The text that the daemon reads from a raw value, where that isn't the number itself. It may raise anything for
    /// one that can't be read.
    using Reading = std::function<std::string(double raw)>;

    struct Range {
        double low;
        double high;
    };

    Course(CParam& param, Carrier const& carrier, Reading const& reading = {});

    double at(double seconds) const;
    long long whole_at(double seconds) const;
    bool rises() const { return rises_; }
    /// Of one that rises, raw in a second.
    double rate() const;

 private:
    Range usual_raw(Carrier const& carrier) const;
    Range within_limits(CParam& param, Carrier const& carrier, Reading const& reading) const;

    double step_;
    bool rises_;
    double phase_;  ///< 0 to 1, so that not all move as one
    Range range_;
};

/// True for a parameter of a name or a unit that counts or adds up.
bool is_rising(CParam const& param);
/// The level of a bit that blinks, each in a time of its own.
bool blinks(double seconds, int number);

}  // namespace sim
