#include <bit>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/byte_list.h"
#include "foundation/crc.h"

using xCommon::ByteList;
using xCommon::net;
using xCommon::WordOrder;
using Bytes = std::vector<unsigned char>;

namespace {

Bytes content(ByteList const& list) {
    return {list.begin(), list.end()};
}

}  // namespace

TEST(Bytes, EveryOrderOfEveryWidthInBothDirections) {
    std::tuple<WordOrder, Bytes, Bytes, Bytes> const rows[] = {
        {WordOrder::big_endian, {0xAA, 0xBB}, {0xAA, 0xBB, 0xCC, 0xDD}, {1, 2, 3, 4, 5, 6, 7, 8}},
        {WordOrder::little_endian, {0xBB, 0xAA}, {0xDD, 0xCC, 0xBB, 0xAA}, {8, 7, 6, 5, 4, 3, 2, 1}},
        {WordOrder::mid_big_endian, {0xBB, 0xAA}, {0xBB, 0xAA, 0xDD, 0xCC}, {2, 1, 4, 3, 6, 5, 8, 7}},
        {WordOrder::mid_little_endian, {0xAA, 0xBB}, {0xCC, 0xDD, 0xAA, 0xBB}, {7, 8, 5, 6, 3, 4, 1, 2}},
    };
    for (auto const& [order, two, four, eight] : rows) {
        SCOPED_TRACE(static_cast<int>(order));
        ByteList list;
        list.push_16(0xAABB, order);
        list.push_32(0xAABBCCDD, order);
        list.push_float(std::bit_cast<float>(0xAABBCCDDU), order);
        Bytes expected = two;
        expected.insert(expected.end(), four.begin(), four.end());
        expected.insert(expected.end(), four.begin(), four.end());
        EXPECT_EQ(content(list), expected);

        int position = 0;
        EXPECT_EQ(net::get_u16(two.data(), position, order), 0xAABB);
        EXPECT_EQ(position, 2);
        position = 0;
        EXPECT_EQ(net::get_i16(two.data(), position, order), static_cast<short>(0xAABB));
        position = 0;
        EXPECT_EQ(net::get_u32(four.data(), position, order), 0xAABBCCDDU);
        EXPECT_EQ(position, 4);
        position = 0;
        EXPECT_EQ(net::get_i32(four.data(), position, order), static_cast<int>(0xAABBCCDDU));
        position = 0;
        EXPECT_EQ(std::bit_cast<unsigned int>(net::get_f32(four.data(), position, order)), 0xAABBCCDDU);
        position = 0;
        EXPECT_EQ(net::get_u64(eight.data(), position, order), 0x0102030405060708ULL);
        EXPECT_EQ(position, 8);
        position = 0;
        EXPECT_EQ(net::get_i64(eight.data(), position, order), 0x0102030405060708LL);
    }
}

TEST(Bytes, PopKeepsTheListAndCutsAtTheMaximum) {
    ByteList source;
    source.push_8(1);
    source.push_string(std::string("a\0b", 3));
    ByteList first;
    ByteList second;
    first.pop_list(source);
    second.pop_list(source);
    second.pop_list(second);
    EXPECT_EQ(content(first), (Bytes{1, 'a', 0, 'b'}));
    EXPECT_EQ(content(second), (Bytes{1, 'a', 0, 'b', 1, 'a', 0, 'b'}));

    unsigned char small[2] = {};
    EXPECT_EQ(source.pop_buf(small, 2), 2);
    EXPECT_EQ(source.size(), 4U);
    EXPECT_EQ(small[1], 'a');
    EXPECT_TRUE(source.compare(first.data()));
    EXPECT_FALSE(source.compare(reinterpret_cast<unsigned char const*>("abcd")));
    EXPECT_TRUE(ByteList().compare(nullptr));

    ByteList pushed;
    unsigned char const one = 7;
    pushed.push_buf(&one, 1);
    pushed.push_buf(&one, -1);
    pushed.push_buf(nullptr, 2);
    EXPECT_EQ(content(pushed), (Bytes{7}));
    EXPECT_EQ(pushed.pop_buf(small, 0), 0);
    EXPECT_EQ(pushed.pop_buf(small, -1), 0);
}

TEST(Bytes, ChecksumsHaveTheirWorkedValues) {
    Bytes const frame = {0x11, 0x03, 0x02, 0x00, 0x05};
    ByteList list;
    list.push_buf(frame.data(), static_cast<int>(frame.size()));
    EXPECT_EQ(list.crc_16(), 0xB984);
    list.push_16(list.crc_16(), WordOrder::big_endian);
    EXPECT_EQ(content(list), (Bytes{0x11, 0x03, 0x02, 0x00, 0x05, 0xB9, 0x84}));
    EXPECT_EQ(ByteList().crc_16(), 0xFFFF);

    std::string const check = "x123456789";
    EXPECT_EQ(xCommon::crc32::crc_32(reinterpret_cast<unsigned char const*>(check.data()), 1, 9), 0xCBF43926U);
}
