#pragma once

#include <json/value.h>

#include "config/config.h"

/// Makes and starts one run-time object for each enabled port, a second apart, so that lines and broker connections
/// don't open all at once. A port that fails costs its lines in the log only. `started` is the number of what runs
/// already; gives the number that runs in the end. Started objects live to the end of the process.
int start_ports(Config const& config, int started);

/// Makes and starts the GPIO worker from its block of settings; the number of what runs then, 0 or 1. A fault costs its
/// lines in the log only. The worker lives to the end of the process.
int start_gpio(Json::Value const& settings);
