#include "foundation/byte_list.h"

#include <algorithm>
#include <bit>
#include <iterator>

#include "foundation/crc.h"

namespace xCommon {

namespace {

/// Index, within the big-endian image of a value of `width` bytes, of the byte that stands at `place` on the wire.
size_t source_index(size_t place, size_t width, WordOrder order) {
    switch (order) {
        case WordOrder::little_endian:
            return width - 1 - place;
        case WordOrder::mid_big_endian:
            return place ^ 1U;
        case WordOrder::mid_little_endian:
            return width - 2 - (place & ~size_t{1}) + (place & 1U);
        case WordOrder::big_endian:
            break;
    }
    return place;
}

template <typename T>
T decode(unsigned char const* buffer, int& position, WordOrder order) {
    T value = 0;
    for (size_t index = 0; index < sizeof(T); ++index) {
        // The permutations are their own inverses, so one table serves both directions.
        T const byte = buffer[static_cast<size_t>(position) + source_index(index, sizeof(T), order)];
        value = static_cast<T>(value | static_cast<T>(byte << (8 * (sizeof(T) - 1 - index))));
    }
    position += static_cast<int>(sizeof(T));
    return value;
}

template <typename T>
void encode(std::vector<unsigned char>& bytes, T value, WordOrder order) {
    for (size_t place = 0; place < sizeof(T); ++place) {
        size_t const index = source_index(place, sizeof(T), order);
        bytes.push_back(static_cast<unsigned char>(value >> (8 * (sizeof(T) - 1 - index))));
    }
}

}  // namespace

void ByteList::push_8(unsigned char value) {
    bytes_.push_back(value);
}

void ByteList::push_16(unsigned short value, WordOrder order) {
    encode(bytes_, value, order);
}

void ByteList::push_32(unsigned int value, WordOrder order) {
    encode(bytes_, value, order);
}

void ByteList::push_float(float value, WordOrder order) {
    push_32(std::bit_cast<unsigned int>(value), order);
}

void ByteList::push_string(std::string const& text) {
    bytes_.insert(bytes_.end(), text.begin(), text.end());
}

void ByteList::push_buf(unsigned char const* data, int count) {
    if (data != nullptr && count > 0) {
        bytes_.insert(bytes_.end(), data, data + count);
    }
}

int ByteList::pop_buf(unsigned char* destination, int maximum) const {
    int const count = std::clamp(maximum, 0, static_cast<int>(bytes_.size()));
    std::copy_n(bytes_.begin(), count, destination);
    return count;
}

void ByteList::pop_list(ByteList const& source) {
    size_t const count = source.bytes_.size();
    bytes_.reserve(bytes_.size() + count);
    std::copy_n(source.bytes_.begin(), count, std::back_inserter(bytes_));
}

bool ByteList::compare(unsigned char const* data) const {
    return std::equal(bytes_.begin(), bytes_.end(), data);
}

unsigned short ByteList::crc_16() const {
    return crc16::crc_16(bytes_.data(), static_cast<unsigned short>(bytes_.size()));
}

ByteList ByteList::with_crc() const {
    ByteList frame = *this;
    frame.push_16(crc_16(), WordOrder::big_endian);  // crc_16() gives the two bytes exchanged
    return frame;
}

unsigned int ByteList::crc_32() const {
    return crc32::crc_32(bytes_.data(), 0, static_cast<int>(bytes_.size()));
}

short net::get_i16(unsigned char const* buffer, int& position, WordOrder order) {
    return static_cast<short>(get_u16(buffer, position, order));
}

unsigned short net::get_u16(unsigned char const* buffer, int& position, WordOrder order) {
    return decode<unsigned short>(buffer, position, order);
}

int net::get_i32(unsigned char const* buffer, int& position, WordOrder order) {
    return static_cast<int>(get_u32(buffer, position, order));
}

unsigned int net::get_u32(unsigned char const* buffer, int& position, WordOrder order) {
    return decode<unsigned int>(buffer, position, order);
}

long long net::get_i64(unsigned char const* buffer, int& position, WordOrder order) {
    return static_cast<long long>(get_u64(buffer, position, order));
}

unsigned long long net::get_u64(unsigned char const* buffer, int& position, WordOrder order) {
    return decode<unsigned long long>(buffer, position, order);
}

float net::get_f32(unsigned char const* buffer, int& position, WordOrder order) {
    return std::bit_cast<float>(get_u32(buffer, position, order));
}

}  // namespace xCommon
