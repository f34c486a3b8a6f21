#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Frames in tests stand as hexadecimal text, "05 03 00 10". Blanks don't matter when they are read.
namespace hex {

using Bytes = std::vector<unsigned char>;

/// Raises std::invalid_argument for anything but pairs of digits and blanks.
Bytes bytes(std::string_view text);
/// Upper case, one blank between two bytes.
std::string text(std::span<unsigned char const> data);

}  // namespace hex
