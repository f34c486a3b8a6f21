#pragma once

#include <string>
#include <vector>

#include "ctl/check/finding.h"
#include "ctl/check/loading.h"

/// Everything that the daemon would leave out, refuse or die of, and what it would take and not do as meant, in the
/// order of the files. Raises std::runtime_error for a file that can't be looked at.
std::vector<Finding> check(std::string const& path);

/// Of what loads, and is hardly what was meant.
void find_warnings(Loading const& loading, std::vector<Finding>& findings);
