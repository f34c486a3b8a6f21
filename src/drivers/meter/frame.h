#pragma once

#include <span>

#include "foundation/byte_list.h"

/// What the electricity meters with a session have in common: the tail of a frame, the dialogue that opens and closes
/// a session, the poll cycle. What they tell differently stands in each family's own folder.
namespace meter {

/// Bytes of the CRC that ends each frame.
inline constexpr int crc_size = 2;

/// Appends a frame: its body and the CRC of it.
void push_frame(xCommon::ByteList& out, xCommon::ByteList const& body);
/// True for exactly one reply of four bytes: address, status, CRC.
bool is_short_reply(std::span<unsigned char const> frame);
/// True when the last two bytes are the CRC of those before them.
bool crc_fits(std::span<unsigned char const> frame);

}  // namespace meter
