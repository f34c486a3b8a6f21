#pragma once

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

namespace xCommon {

/// Byte orders of multi-byte values; the numbers are those of the configuration key `word_order`.
/// For 0xAABBCCDD: big AA BB CC DD, little DD CC BB AA, mid_big BB AA DD CC, mid_little CC DD AA BB.
/// For the 16-bit 0xAABB: big AA BB, little BB AA, mid_big BB AA, mid_little AA BB.
enum class WordOrder : int { big_endian = 0, little_endian = 1, mid_big_endian = 2, mid_little_endian = 3 };

/// A growable list of bytes in which frames are assembled. No operation throws but for lack of memory.
class ByteList {
 public:
    ByteList() = default;
    ByteList(std::initializer_list<unsigned char> bytes) : bytes_(bytes) {}
    virtual ~ByteList() = default;

    void push_8(unsigned char value);
    void push_16(unsigned short value, WordOrder order);
    void push_32(unsigned int value, WordOrder order);
    void push_float(float value, WordOrder order);
    /// Appends the bytes of the string, without a terminator.
    void push_string(std::string const& text);
    void push_buf(unsigned char const* data, int count);
    /// Copies at most `maximum` bytes from the beginning of the list to `destination` and gives the number copied.
    /// The word "pop" is historical: here and in pop_list() nothing leaves the list, and senders rely on that.
    int pop_buf(unsigned char* destination, int maximum) const;
    /// Appends the whole of `source`, which keeps its content.
    void pop_list(ByteList const& source);
    /// True when the bytes at `data`, which must hold as many as the list, equal the list's; an empty list is equal.
    bool compare(unsigned char const* data) const;
    /// See crc16::crc_16 and crc32::crc_32.
    unsigned short crc_16() const;
    unsigned int crc_32() const;
    /// This and behind it its CRC as Modbus has it on the wire, low byte first.
    ByteList with_crc() const;

    auto begin() const { return bytes_.begin(); }
    auto end() const { return bytes_.end(); }
    size_t size() const { return bytes_.size(); }
    bool empty() const { return bytes_.empty(); }
    unsigned char const* data() const { return bytes_.data(); }
    unsigned char* data() { return bytes_.data(); }

 private:
    std::vector<unsigned char> bytes_;
};

/// Readers of values in received frames: each reads at `buffer + position` and advances `position` by its width.
/// The caller has made sure that the bytes are there.
class net {
 public:
    static short get_i16(unsigned char const* buffer, int& position, WordOrder order);
    static unsigned short get_u16(unsigned char const* buffer, int& position, WordOrder order);
    static int get_i32(unsigned char const* buffer, int& position, WordOrder order);
    static unsigned int get_u32(unsigned char const* buffer, int& position, WordOrder order);
    static long long get_i64(unsigned char const* buffer, int& position, WordOrder order);
    static unsigned long long get_u64(unsigned char const* buffer, int& position, WordOrder order);
    static float get_f32(unsigned char const* buffer, int& position, WordOrder order);
};

}  // namespace xCommon
