#include "config/utils.h"

#include <bit>
#include <cmath>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/reader.h>

using Bytes = std::vector<unsigned char>;
__extension__ using Half = _Float16;

namespace {

/// The bytes in memory of exactly their size, so that a reader behind the end is caught.
std::unique_ptr<unsigned char[]> exact(Bytes const& bytes) {
    auto copy = std::make_unique<unsigned char[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return copy;
}

}  // namespace

TEST(Utils, LittleEndianIntegersOfAtMostFourBytes) {
    std::pair<Bytes, long long> const rows[] = {
        {{0xFE}, 0xFE},
        {{0xFE, 0xFF}, 0xFFFE},
        {{0x01, 0x02, 0x03}, 0x030201},
        {{0x01, 0x02, 0x03, 0x04}, 0x04030201},
        {{0xFF, 0xFF, 0xFF, 0x7F}, 0x7FFFFFFF},
        {{0x00, 0x00, 0x00, 0x80}, -2147483648LL},
        {{0xFF, 0xFF, 0xFF, 0xFF}, -1},
        {{0x01, 0x02, 0x03, 0x04, 0xFF}, 0x04030201},
        {{0xFE, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00}, -2},
        {{1, 0, 0, 0, 0, 0, 0, 0, 0}, 0},  // nine bytes are no integer
    };
    for (auto const& [bytes, value] : rows) {
        EXPECT_EQ(Utils::LE_int(exact(bytes).get(), static_cast<int>(bytes.size())), value);
    }
    unsigned char const byte = 1;
    EXPECT_EQ(Utils::LE_int(&byte, 0), 0);
    EXPECT_EQ(Utils::LE_int(&byte, -1), 0);
    EXPECT_EQ(Utils::LE_int(nullptr, 4), 0);
}

TEST(Utils, DigitsFromTheLastByteLowNibbleFirst) {
    EXPECT_EQ(Utils::LE_bcd32(exact({0x78, 0x56, 0x34, 0x12}).get()), "21436587");
    EXPECT_EQ(Utils::LE_bcd32(exact({0x00, 0x00, 0x00, 0x09}).get()), "90000000");
    EXPECT_EQ(Utils::LE_bcd32(exact({0xFA, 0xDC, 0xEB, 0x00}).get()), "00;><=:?");
}

// The compiler's own type is the reference, over all numbers of 16 bits.
TEST(Utils, HalfFloatReadsAsTheNumberOfItsSinglePattern) {
    for (unsigned int half = 0; half <= 0xFFFF; ++half) {
        auto const single = static_cast<float>(std::bit_cast<Half>(static_cast<unsigned short>(half)));
        if (std::isnan(single) && (half & 0x0200U) == 0) {
            continue;  // a signalling NaN changes on its way
        }
        ASSERT_EQ(Utils::i16_to_float32(static_cast<short>(half)), static_cast<float>(std::bit_cast<unsigned>(single)))
            << std::hex << half;
    }
    EXPECT_EQ(Utils::i16_to_float32(0x3C00), 1065353216.0F);  // 1: 3F800000
}

TEST(Utils, NearestHalfFloatTiesToEven) {
    for (unsigned int half = 0; half <= 0xFFFF; ++half) {
        auto const single = static_cast<float>(std::bit_cast<Half>(static_cast<unsigned short>(half)));
        // The number itself, the tie to the next one, and what lies a step beside them; among normal numbers a step of
        // a half is 2000 in the pattern of a single, among the others more.
        for (int const off :
             {0, 0x0FFF, 0x1000, 0x1001, -0x0FFF, -0x1000, -0x1001, 1, -1, 0x2000, 0x100000, 0x400000}) {
            auto const number = std::bit_cast<float>(std::bit_cast<unsigned>(single) + static_cast<unsigned>(off));
            ASSERT_EQ(Utils::float32_to_u16(number), std::bit_cast<unsigned short>(static_cast<Half>(number)))
                << std::hex << std::bit_cast<unsigned>(number);
        }
    }
    std::pair<unsigned int, unsigned int> const rows[] = {
        {0x3F803000, 0x3C02}, {0x3F801000, 0x3C00}, {0x477FF000, 0x7C00}, {0x387FE000, 0x0400},
        {0x34200000, 0x0002}, {0x33C00000, 0x0002}, {0x33BFFFFF, 0x0001}, {0x33000000, 0x0000},
        {0x33000001, 0x0001}, {0x00000001, 0x0000}, {0x7F800001, 0x7E00}, {0x7FC06000, 0x7E03},
    };
    for (auto const& [single, half] : rows) {
        EXPECT_EQ(Utils::float32_to_u16(std::bit_cast<float>(single)), half) << std::hex << single;
    }
}

TEST(Utils, IntegerOfAJsonValue) {
    struct Row {
        char const* value;
        int number;
    };
    Row const rows[] = {
        {"10", 10},        {"\"10\"", 10},
        {"\"0x10\"", 16},  {"\"0xfF\"", 255},
        {"65537", 1},      {"\"65537\"", 1},
        {"-1", 0xFFFF},    {"\"-1\"", 0xFFFF},
        {"\"\"", 0},       {"\"abc\"", 0},
        {"\"12abc\"", 12}, {"\" 7\"", 7},
        {"\"010\"", 10},   {"null", 0},
        {"true", 0},       {"1.5", 0},
        {"[5]", 0},        {"{\"a\": 5}", 0},
        {"1e300", 0},      {"4294967296", 0},
        {"5.0", 0},        {"18446744073709551615", 65535},
    };
    for (Row const& row : rows) {
        Json::Value value;
        std::istringstream(std::string("[") + row.value + "]") >> value;
        EXPECT_EQ(Utils::jToInt(value[0]), row.number) << row.value;
    }
}
