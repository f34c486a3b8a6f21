#include <memory>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "ctl/line/hex.h"
#include "drivers/mbrtu/config.h"
#include "drivers/mbrtu/pdu.h"

namespace {

constexpr int big = 0;
constexpr int little = 1;
constexpr int mid_big = 2;
constexpr int mid_little = 3;

mbrtu::c_param made(int value_type, int word_order) {
    Json::Value node;
    node["name"] = "u";
    node["reg_addr"] = 1;
    mbrtu::c_param param(nullptr, node);
    param.value_type = value_type;
    param.word_order = word_order;
    return param;
}

/// Decodes from memory of exactly that size, so that a look behind the end is caught; the text of the exception where
/// there is one.
std::string decoded(mbrtu::c_param const& param, hex::Bytes const& bytes) {
    auto const exact = std::make_unique<unsigned char[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), exact.get());
    try {
        return param.GetValueFromBuffer(exact.get(), static_cast<int>(bytes.size()));
    } catch (std::exception const& e) {
        return e.what();
    }
}

std::string encoded(mbrtu::c_param const& param, std::string const& value) {
    xCommon::ByteList out;
    try {
        param.GetValueFromString(out, value);
    } catch (std::exception const& e) {
        EXPECT_TRUE(out.empty()) << value;
        return e.what();
    }
    return hex::text({out.data(), out.size()});
}

}  // namespace

TEST(ModbusValue, BothWays) {
    struct Row {
        int value_type;
        int word_order;
        char const* bytes;
        char const* text;
    };
    Row const rows[] = {
        {vt_i16, big, "12 34", "4660"},
        {vt_i16, little, "34 12", "4660"},
        {vt_i16, mid_big, "34 12", "4660"},
        {vt_i16, mid_little, "12 34", "4660"},
        {vt_i16, big, "FF FE", "-2"},
        {vt_i16, big, "80 00", "-32768"},
        {vt_i16, little, "FF 7F", "32767"},
        {vt_u16, big, "FF FE", "65534"},
        {vt_u16, little, "FE FF", "65534"},
        {vt_u16, mid_big, "00 80", "32768"},
        {vt_u16, mid_little, "80 00", "32768"},
        {vt_i32, big, "12 34 56 78", "305419896"},
        {vt_i32, little, "78 56 34 12", "305419896"},
        {vt_i32, mid_big, "34 12 78 56", "305419896"},
        {vt_i32, mid_little, "56 78 12 34", "305419896"},
        {vt_i32, big, "FF FF FF FE", "-2"},
        {vt_i32, mid_little, "00 00 80 00", "-2147483648"},
        {vt_u32, big, "FF FF FF FE", "4294967294"},
        {vt_u32, little, "FE FF FF FF", "4294967294"},
        {vt_u32, mid_big, "FF FF FE FF", "4294967294"},
        {vt_u32, mid_little, "FF FE FF FF", "4294967294"},
        {vt_float32, big, "C1 48 00 00", "-12.50"},
        {vt_float32, little, "00 00 48 C1", "-12.50"},
        {vt_float32, mid_big, "48 C1 00 00", "-12.50"},
        {vt_float32, mid_little, "00 00 C1 48", "-12.50"},
        {vt_float32, big, "7F 80 00 00", "inf"},
        {vt_float32, big, "00 00 00 00", "0.00"},
        {vt_str2, big, "61 62", "ab"},
        {vt_str2, little, "61 62", "ab"},
        {vt_str4, mid_big, "61 62 63 64", "abcd"},
        {vt_str8, mid_little, "61 62 63 64 65 66 67 68", "abcdefgh"},
        {vt_str4, big, "D0 96 D0 AF", "ЖЯ"},
    };
    for (Row const& row : rows) {
        mbrtu::c_param const param = made(row.value_type, row.word_order);
        EXPECT_EQ(decoded(param, hex::bytes(row.bytes)), row.text)
            << row.value_type << ' ' << row.word_order << ' ' << row.bytes;
        EXPECT_EQ(encoded(param, row.text), row.bytes) << row.value_type << ' ' << row.word_order << ' ' << row.text;
    }
}

TEST(ModbusValue, ReadOnlyTypesAndRoundings) {
    struct Row {
        int value_type;
        int word_order;
        char const* bytes;
        char const* text;
    };
    Row const rows[] = {
        {vt_bit, big, "01", "1"},
        {vt_bit, big, "FE", "0"},
        {vt_bit, little, "00 01", "0"},  // bit 8 of a register is what is read
        {vt_bit, big, "01 00", "1"},
        {vt_i8, big, "FF 01", "255"},  // no sign
        {vt_i8, little, "01 FF", "255"},
        {vt_u8, big, "FE 01", "254"},
        {vt_u8, mid_big, "01 FE", "254"},
        {vt_u8, mid_little, "01 FE", "254"},
        {vt_float16, big, "3C 00", "1065353216.00"},  // the single pattern as a number
        {vt_float16, little, "00 3C", "1065353216.00"},
        {vt_float16, mid_big, "00 C0", "3221225472.00"},
        {vt_float16, mid_little, "00 00", "0.00"},
        {vt_float32, big, "3F 80 A3 D7", "1.00"},  // 1.004999995
        {vt_float32, big, "3F 81 47 AE", "1.01"},
        {vt_float32, big, "80 00 00 00", "-0.00"},
        {vt_float32, big, "FF 80 00 00", "-inf"},
        {vt_float32, big, "7F C0 00 00", "nan"},
        {vt_float32, big, "7F 7F FF FF", "340282346638528859811704183484516925440.00"},
        {vt_fixi16, big, "01 80", "1.5000"},
        {vt_fixu16, big, "01 80", "1.5000"},
        {vt_fixu16, big, "01 01", "1.39"},
        {vt_fixi16, big, "FF FF", "255.9960"},
        {vt_fixi16, little, "80 01", "1.5000"},
        {vt_fixu16, mid_big, "01 02", "2.39"},
        {vt_fixu16, mid_little, "00 FF", "255.0"},
        {vt_u16, big, "12 34 56 78", "4660"},  // more than is needed
        {vt_str2, big, "00 FF", nullptr},
    };
    for (Row const& row : rows) {
        std::string const expected = row.text != nullptr ? std::string(row.text) : std::string("\0\xFF", 2);
        EXPECT_EQ(decoded(made(row.value_type, row.word_order), hex::bytes(row.bytes)), expected)
            << row.value_type << ' ' << row.word_order << ' ' << row.bytes;
    }
}

TEST(ModbusValue, BytesAndRegistersOfEachType) {
    struct Row {
        int value_type;
        size_t needed;
    };
    Row const rows[] = {{vt_bit, 1},     {vt_i8, 2},     {vt_u8, 2},      {vt_i16, 2},  {vt_u16, 2},
                        {vt_float16, 2}, {vt_fixi16, 2}, {vt_fixu16, 2},  {vt_str2, 2}, {vt_i32, 4},
                        {vt_u32, 4},     {vt_str4, 4},   {vt_float32, 4}, {vt_str8, 8}};
    for (Row const& row : rows) {
        mbrtu::c_param param = made(row.value_type, big);
        for (size_t size = 1; size < row.needed; ++size) {
            EXPECT_EQ(decoded(param, hex::Bytes(size, 0x31)), "u # буфер слишком мал для значения.")
                << row.value_type << ' ' << size;
        }
        EXPECT_NE(decoded(param, hex::Bytes(row.needed, 0x31)), "u # буфер слишком мал для значения.");
        EXPECT_EQ(decoded(param, {}), "u # пустое значение.") << row.value_type;
        EXPECT_EQ(mbrtu::pdu::getRegNum(&param), (row.needed + 1) / 2) << row.value_type;
        EXPECT_EQ(mbrtu::pdu::getWriteFunCode(&param), row.needed > 2 ? 16 : 6) << row.value_type;
        param.reg_type = modbus::reg_status;
        EXPECT_EQ(mbrtu::pdu::getRegNum(&param), 1) << row.value_type;
    }
    unsigned char const byte = 1;
    EXPECT_THROW(made(vt_bit, big).GetValueFromBuffer(nullptr, 8), std::exception);
    EXPECT_THROW(made(vt_bit, big).GetValueFromBuffer(&byte, -1), std::exception);
    for (int const type : {vt_none, vt_str, vt_date_time, vt_ma, vt_m0a, vt_m7, vt_u24, vt_i24, vt_bcd32}) {
        mbrtu::c_param const param = made(type, big);
        EXPECT_EQ(decoded(param, hex::Bytes(8, 0)), "u # недопустимый value_type") << type;
        EXPECT_EQ(encoded(param, "1"), "u # недопустимый value_type.") << type;
        EXPECT_EQ(mbrtu::pdu::getRegNum(&param), 1) << type;
    }
    for (int const type : {vt_i8, vt_u8, vt_fixi16, vt_fixu16}) {
        EXPECT_EQ(encoded(made(type, big), "1"), "u # недопустимый value_type.") << type;
    }
}

TEST(ModbusValue, Written) {
    struct Row {
        int value_type;
        int word_order;
        std::string text;
        char const* bytes;  // or the text of the exception
    };
    Row const rows[] = {
        {vt_bit, big, "1", "FF 00"},
        {vt_bit, little, "1", "FF 00"},  // the protocol's form, whatever the order
        {vt_bit, big, "0", "00 00"},
        {vt_bit, big, "2", "u # недопустимое значение [2] для value_type = bit."},
        {vt_bit, big, "on", "u # недопустимое значение [on] для value_type = bit."},
        {vt_bit, big, "", "u # пустое значение."},
        {vt_i16, big, "65537", "00 01"},  // the low bits
        {vt_i16, big, "-32769", "7F FF"},
        {vt_i16, big, " 7 V", "00 07"},  // as far as it is a number
        {vt_i16, big, "7.9", "00 07"},
        {vt_u16, big, "-1", "FF FF"},
        {vt_u32, big, "4294967296", "stoul"},
        {vt_u16, big, "-4294967296", "stoul"},
        {vt_u32, big, "-4294967295", "00 00 00 01"},
        {vt_i32, big, "2147483648", "stol"},
        {vt_i16, big, "-2147483649", "stol"},
        {vt_i32, big, "abc", "stol"},
        {vt_i32, big, "99999999999999999999", "stol"},
        {vt_i16, big, "-", "stol"},
        {vt_u32, big, "x", "stoul"},
        {vt_u16, big, "99999999999999999999", "stoul"},
        {vt_float32, big, "abc", "stof"},
        {vt_float32, big, "1e999", "stof"},
        {vt_float16, big, "x", "stof"},
        {vt_float32, little, "1e2", "00 00 C8 42"},
        {vt_float16, big, "1.5", "3E 00"},
        {vt_float16, little, "1.5", "00 3E"},
        {vt_float16, mid_big, "-2", "00 C0"},
        {vt_float16, mid_little, "65504", "7B FF"},
        {vt_float16, big, "65520", "7C 00"},
        {vt_float16, big, "0.1", "2E 66"},
        {vt_float16, big, "0.00000006", "00 01"},
        {vt_str4, little, "abcdef", "61 62 63 64 65 66"},  // neither cut
        {vt_str8, big, "a", "61"},                         // nor padded
        {vt_str2, big, std::string("\0\xFF", 2), "00 FF"},
        {vt_str2, big, "", "u # пустое значение."},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(encoded(made(row.value_type, row.word_order), row.text), row.bytes)
            << row.value_type << ' ' << row.word_order << ' ' << row.text;
    }
    xCommon::ByteList out;
    EXPECT_THROW(made(vt_i32, big).GetValueFromString(out, "x"), std::invalid_argument);
    EXPECT_THROW(made(vt_u16, big).GetValueFromString(out, "99999999999999999999"), std::out_of_range);
    EXPECT_THROW(made(vt_float32, big).GetValueFromString(out, "1e999"), std::out_of_range);
}
