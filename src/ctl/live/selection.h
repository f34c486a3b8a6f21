#pragma once

#include <string>
#include <vector>

#include "ctl/check/loading.h"
#include "topics/topic_list.h"

/// The rows that a text means: "DEVICE" or "DEVICE/PARAMETER", a device by the name of the configuration or that of its
/// topics. Raises std::runtime_error for one that is none.
std::vector<TopicRow> select_rows(Loading const& loading, std::vector<TopicRow> const& rows, std::string const& wanted);
