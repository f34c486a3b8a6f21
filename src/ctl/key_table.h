#pragma once

#include <string>

/// The keys that a class of nodes has beside those of its bases, as a table of the documentation in Markdown. `key` is
/// that of its registration, "mb-rtu.cparam"; of "cbase", "cport", "cdev" and "cparam" the common ones. Raises
/// std::out_of_range for a class that nobody has registered.
std::string key_table(std::string const& key, bool russian);
