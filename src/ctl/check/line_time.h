#pragma once

#include "config/cport.h"

/// What the polls of a device ask of its line, by the lengths of its driver's frames.
struct LineTime {
    double pass_s = 0;    ///< a pass in which all is due and answered
    double silent_s = 0;  ///< one in which nothing is
    double load = 0;      ///< share of the time that the intervals ask for
    int shortest = 0;     ///< of the intervals, s; 0: every pass

    LineTime& operator+=(LineTime const& other);
};

LineTime line_time(CPort const& port, CDev const& device);
