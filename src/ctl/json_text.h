#pragma once

#include <string>

#include <json/value.h>

/// A document as people read it: four blanks a level, letters as they are, numbers as short as they may be, a line feed
/// at the end.
std::string json_text(Json::Value const& value);

/// The text under a key, of a number too; empty when it is absent or no plain value.
std::string text_at(Json::Value const& node, char const* key);
