#pragma once

#include <string>
#include <vector>

#include "ctl/scenario/scenario.h"

/// Fails the test that runs, for a scenario that doesn't hold.
void run_in_process(Scenario const& scenario);
/// The same with the real binary, a real broker, and pseudo-terminals or TCP peers.
void run_whole(Scenario const& scenario);

/// The frames are those, in their order.
bool are_frames(std::vector<std::string> const& sent, std::vector<std::string> const& wanted);
/// The frame of a step is among them, as often as it says.
bool was_sent(std::vector<std::string> const& sent, Step const& step);
