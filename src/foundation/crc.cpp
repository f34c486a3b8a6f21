#include "foundation/crc.h"

#include <array>

#include <zlib.h>

namespace xCommon {

namespace {

constexpr std::array<unsigned short, 256> make_table() {
    std::array<unsigned short, 256> table{};
    for (unsigned int index = 0; index < table.size(); ++index) {
        unsigned int crc = index;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0xA001U : crc >> 1U;
        }
        table[index] = static_cast<unsigned short>(crc);
    }
    return table;
}

constexpr std::array<unsigned short, 256> modbus_table = make_table();

}  // namespace

unsigned short crc16::crc_16(unsigned char const* data, unsigned short length) {
    unsigned int crc = 0xFFFF;
    for (unsigned short index = 0; index < length; ++index) {
        crc = (crc >> 8U) ^ modbus_table[(crc ^ data[index]) & 0xFFU];
    }
    return static_cast<unsigned short>((crc >> 8U) | (crc << 8U));
}

bool crc16::ends(std::span<unsigned char const> frame) {
    if (frame.size() < sizeof(unsigned short)) {
        return false;
    }
    size_t const length = frame.size() - sizeof(unsigned short);
    unsigned short const crc = crc_16(frame.data(), static_cast<unsigned short>(length));
    return frame[length] == crc >> 8U && frame[length + 1] == (crc & 0xFFU);
}

unsigned int crc32::crc_32(unsigned char const* data, int start, int length) {
    if (length <= 0) {
        return 0;
    }
    return static_cast<unsigned int>(::crc32(0, data + start, static_cast<uInt>(length)));
}

}  // namespace xCommon
