#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "ctl/line/hex.h"

/// What simulated devices build their frames of. On the device's side: nothing here is the daemon's, so that a mistake
/// of a driver doesn't meet its mirror image.
namespace sim {

using Bytes = hex::Bytes;
using View = std::span<unsigned char const>;

/// The low `size` bytes of a number.
void push_high_first(Bytes& out, uint64_t value, int size);
void push_low_first(Bytes& out, uint64_t value, int size);
Bytes low_first(uint64_t value, int size);
void append(Bytes& out, View more);
/// The number in all of the bytes, eight at most.
uint64_t number_high_first(View bytes);
uint64_t number_low_first(View bytes);

/// A frame with the CRC of Modbus behind it, low byte first; the meters of several families use it too.
Bytes with_crc(Bytes frame);
bool has_crc(View frame);

Bytes text_bytes(std::string const& text);
std::string text_of(View bytes);

}  // namespace sim
