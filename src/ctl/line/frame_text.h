#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ctl/line/hex.h"

/// Frames as a meter specialist writes them. Beside pairs of hexadecimal digits:
///   "text"           its bytes; \r, \n and \xHH in it
///   ??               any byte, in a request alone
///   {N} {N..M}       bytes of the request, counted from 0, or from its end by -1; in a reply alone, like what follows
///   {crc}            the CRC of Modbus over what stands ahead of it, low byte first
///   {count TYPE FIRST STEP}   a number that grows by the step with each reply
///   {wander TYPE LOW HIGH}    a number that goes up and down between the two, a tenth of the way with each reply
/// TYPE is the number of bytes, 1 to 4, or f for a float; with "le" behind it low byte first.
namespace frame_text {

/// -1 stands for any byte. Raises std::invalid_argument.
using Pattern = std::vector<int>;
Pattern pattern(std::string_view text);
bool begins(Pattern const& pattern, std::span<unsigned char const> frame);
bool equals(Pattern const& pattern, std::span<unsigned char const> frame);

/// The reply to a request, given `number` times before. Raises std::invalid_argument.
hex::Bytes reply(std::string_view text, std::span<unsigned char const> request, long long number);

}  // namespace frame_text
