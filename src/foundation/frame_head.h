#pragma once

#include <array>
#include <span>

namespace xCommon {

/// What is wrong with the head of a reply, in the order in which it is looked for. Most protocols begin a frame with
/// the slave's address and a function, and set its highest bit when they refuse; some repeat more of the request.
enum class HeadFault { none, timeout, wrong_address, refused, other_request };

/// The line about each fault, by its number; null: none.
using HeadTexts = std::array<char const*, 5>;

inline constexpr unsigned char refused_bit = 0x80;

/// `least`: bytes of a whole head, 2 or more.
constexpr HeadFault head_fault(std::span<unsigned char const> head, unsigned char address, size_t least) {
    if (head.size() < least) {
        return HeadFault::timeout;
    }
    if (head[0] != address) {
        return HeadFault::wrong_address;
    }
    return (head[1] & refused_bit) != 0 ? HeadFault::refused : HeadFault::none;
}

}  // namespace xCommon
