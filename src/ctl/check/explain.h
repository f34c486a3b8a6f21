#pragma once

#include "ctl/check/finding.h"
#include "ctl/check/loading.h"

/// What a line of the daemon's loader is about: the place, the key, what is wrong and what is allowed.
Finding explain(Loading const& loading, Loading::Line const& line);
/// What is wrong with the serial settings of a port or device.
Finding explain_line(Loading const& loading, Loading::Place const& place);
/// A finding about a key of an element; its line is the daemon's.
Finding make_finding(Loading const& loading, Loading::Place const& place, std::string const& key, std::string text);
