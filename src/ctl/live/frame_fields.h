#pragma once

#include <span>
#include <string>

/// The fields of a frame of the drivers whose frames have some at fixed places: "address 11, function 04, data 00 07,
/// crc 33 5A"; for a text protocol the text. Empty for others. `type` is the type word of the device.
std::string frame_fields(std::string const& type, bool is_request, std::span<unsigned char const> frame);
