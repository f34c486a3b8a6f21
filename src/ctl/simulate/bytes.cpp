#include "ctl/simulate/bytes.h"

#include <algorithm>

namespace sim {

void push_high_first(Bytes& out, uint64_t value, int size) {
    for (int byte = size - 1; byte >= 0; --byte) {
        out.push_back(static_cast<unsigned char>(value >> (8U * static_cast<unsigned int>(byte))));
    }
}

void push_low_first(Bytes& out, uint64_t value, int size) {
    for (int byte = 0; byte < size; ++byte) {
        out.push_back(static_cast<unsigned char>(value >> (8U * static_cast<unsigned int>(byte))));
    }
}

Bytes low_first(uint64_t value, int size) {
    Bytes bytes;
    push_low_first(bytes, value, size);
    return bytes;
}

void append(Bytes& out, View more) {
    out.insert(out.end(), more.begin(), more.end());
}

uint64_t number_high_first(View bytes) {
    uint64_t value = 0;
    for (unsigned char const byte : bytes) {
        value = value << 8U | byte;
    }
    return value;
}

uint64_t number_low_first(View bytes) {
    Bytes turned(bytes.begin(), bytes.end());
    std::reverse(turned.begin(), turned.end());
    return number_high_first(turned);
}

Bytes with_crc(Bytes frame) {
    hex::push_crc16(frame);
    return frame;
}

bool has_crc(View frame) {
    constexpr size_t crc_size = 2;
    if (frame.size() <= crc_size) {
        return false;
    }
    Bytes expected(frame.begin(), frame.end() - crc_size);
    hex::push_crc16(expected);
    return std::equal(frame.begin(), frame.end(), expected.begin());
}

Bytes text_bytes(std::string const& text) {
    return {text.begin(), text.end()};
}

std::string text_of(View bytes) {
    return {bytes.begin(), bytes.end()};
}

}  // namespace sim
