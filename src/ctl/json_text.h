#pragma once

#include <string>

#include <json/value.h>

/// A document as people read it: two blanks a level, letters as they are, numbers as short as they may be, a line feed
/// at the end.
std::string json_text(Json::Value const& value);
