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
/// Appends the CRC of Modbus, computed bit by bit, low byte first.
void push_crc16(Bytes& frame);
/// The frame with that CRC behind it.
std::string with_crc16(std::string const& frame);
/// The frame with its CRC-32 behind it, high byte first; zlib's, not that of the code under test.
std::string with_crc32(std::string const& frame);

}  // namespace hex
