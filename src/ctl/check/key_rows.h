#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <json/value.h>

#include "config/keys.h"

/// What the tables of keys say, in words.
namespace key_rows {

/// Of a class as CBFac has it, or of an object of the configuration: "root", "mqtt", "log", "rs", "bh_list", "gpio",
/// "gpio.channel". Of an unknown class none.
keys::Tables const& tables(std::string const& class_key);
/// Null for a key that the class doesn't have.
keys::Key const* find(std::string const& class_key, std::string_view key);
/// Some class has it.
bool is_known(std::string_view key);

/// The value can stand there.
bool fits(keys::Key const& key, Json::Value const& value);
/// What it is, in the language in force.
std::string meaning(keys::Key const& key);
/// "an integer from 5 to 8", "one of none, odd".
std::string allowed(keys::Key const& key);
/// The most alike; empty where none is.
std::string nearest(std::string_view text, std::vector<std::string> const& words);
/// A value as a line shows it.
std::string shown(Json::Value const& value);

}  // namespace key_rows
