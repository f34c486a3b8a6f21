#include "config/utils.h"

#include <bit>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/reader.h>

using Bytes = std::vector<unsigned char>;

namespace {

/// The bytes in memory of exactly their size, so that a reader behind the end is caught.
std::unique_ptr<unsigned char[]> exact(Bytes const& bytes) {
    auto copy = std::make_unique<unsigned char[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return copy;
}

}  // namespace

TEST(Utils, LittleEndianIntegersOfAtMostFourBytes) {
    struct Row {
        Bytes bytes;
        long long value;
    };
    Row const rows[] = {
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
    for (Row const& row : rows) {
        EXPECT_EQ(Utils::LE_int(exact(row.bytes).get(), static_cast<int>(row.bytes.size())), row.value);
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

TEST(Utils, HalfFloatReadsAsTheNumberOfItsSinglePattern) {
    struct Row {
        char const* guards;
        unsigned int half;
        double value;
    };
    Row const rows[] = {
        {"zero", 0x0000, 0},
        {"negative zero", 0x8000, 2147483648.0},      // 80000000
        {"one", 0x3C00, 1065353216.0},                // 3F800000
        {"minus two", 0xC000, 3221225472.0},          // C0000000
        {"3.140625", 0x4248, 1078525952.0},           // 40490000
        {"largest", 0x7BFF, 1199562752.0},            // 477FE000
        {"smallest normal", 0x0400, 947912704.0},     // 38800000
        {"largest denormal", 0x03FF, 947896320.0},    // 387FC000
        {"denormal", 0x0200, 939524096.0},            // 38000000
        {"smallest denormal", 0x0001, 864026624.0},   // 33800000
        {"negative denormal", 0x8001, 3011510272.0},  // B3800000
        {"infinity", 0x7C00, 2139095040.0},           // 7F800000
        {"negative infinity", 0xFC00, 4286578688.0},  // FF800000
        {"NaN", 0x7E00, 2143289344.0},                // 7FC00000
    };
    for (Row const& row : rows) {
        EXPECT_EQ(static_cast<double>(Utils::i16_to_float32(static_cast<short>(row.half))), row.value) << row.guards;
    }
}

TEST(Utils, NearestHalfFloatTiesToEven) {
    struct Row {
        char const* guards;
        unsigned int single;
        unsigned int half;
    };
    Row const rows[] = {
        {"zero", 0x00000000, 0x0000},
        {"negative zero", 0x80000000, 0x8000},
        {"one", 0x3F800000, 0x3C00},
        {"minus two", 0xC0000000, 0xC000},
        {"0.1", 0x3DCCCCCD, 0x2E66},
        {"one and a step", 0x3F802000, 0x3C01},
        {"tie, down to even", 0x3F801000, 0x3C00},
        {"tie, up to even", 0x3F803000, 0x3C02},
        {"above a tie", 0x3F801001, 0x3C01},
        {"below a tie", 0x3F800FFF, 0x3C00},
        {"largest", 0x477FE000, 0x7BFF},
        {"below the tie to infinity", 0x477FEFFF, 0x7BFF},
        {"tie to infinity", 0x477FF000, 0x7C00},
        {"65536", 0x47800000, 0x7C00},
        {"largest single", 0x7F7FFFFF, 0x7C00},
        {"infinity", 0x7F800000, 0x7C00},
        {"negative infinity", 0xFF800000, 0xFC00},
        {"smallest normal", 0x38800000, 0x0400},
        {"rounded up to a normal", 0x387FFFFF, 0x0400},
        {"tie to the smallest normal", 0x387FE000, 0x0400},
        {"below that tie", 0x387FDFFF, 0x03FF},
        {"largest denormal", 0x387FC000, 0x03FF},
        {"tie of denormals, down", 0x34200000, 0x0002},
        {"tie of denormals, up", 0x33C00000, 0x0002},
        {"below it", 0x33BFFFFF, 0x0001},
        {"smallest denormal", 0x33800000, 0x0001},
        {"half of it, tie to zero", 0x33000000, 0x0000},
        {"just above half", 0x33000001, 0x0001},
        {"just below half", 0x32FFFFFF, 0x0000},
        {"negative, just above half", 0xB3000001, 0x8001},
        {"smallest single", 0x00000001, 0x0000},
        {"negative smallest single", 0x80000001, 0x8000},
        {"NaN", 0x7FC00000, 0x7E00},
        {"NaN with a mantissa", 0x7FC06000, 0x7E03},
        {"signalling NaN stays a NaN", 0x7F800001, 0x7E00},
        {"negative NaN", 0xFFC00000, 0xFE00},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(Utils::float32_to_u16(std::bit_cast<float>(row.single)), row.half) << row.guards;
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
