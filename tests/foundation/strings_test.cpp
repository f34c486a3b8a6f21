#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/byte_list.h"
#include "foundation/xexception.h"
#include "foundation/xmisc.h"
#include "foundation/xstring.h"

using xCommon::xMisc;
using xCommon::xString;
using Texts = std::vector<std::string>;

namespace {

struct Formatted {
    char const* guards;
    std::string made;
    std::string expected;
};

}  // namespace

TEST(Format, FillsAsPrintfDoes) {
    std::string const with_nul("a\0b", 3);
    Formatted const rows[] = {
        {"a std::string as it is", xString::Format("<%s>", std::string("текст")), "<текст>"},
        {"bytes behind a NUL", xString::Format("<%s>", with_nul), "<" + with_nul + ">"},
        {"foreign percent signs", xString::Format("%s : %s", std::string("50%s%n%d"), "%%"), "50%s%n%d : %%"},
        {"a percent sign of the format", xString::Format("%d%%", 50), "50%"},
        {"width, sign, padding", xString::Format("%-4s|%04d|%5.1f|%02X", "ab", -7, 1.25, 10), "ab  |-007|  1.2|0A"},
        {"precision as an argument", xString::Format("%.*f", 3, 1.5F), "1.500"},
        {"limits of each width", xString::Format("%lld %u %d", -9223372036854775807LL, 4294967295U, -2147483647),
         "-9223372036854775807 4294967295 -2147483647"},
        {"a byte as a number", xString::Format("%u %d", static_cast<unsigned char>(200), static_cast<short>(-3)),
         "200 -3"},
        {"no numbers", xString::Format("%0.2f %0.2f", INFINITY, -INFINITY), "inf -inf"},
        {"a null text", xString::Format("%s", static_cast<char const*>(nullptr)), "(null)"},
        {"a long text", xString::Format("%s", std::string(100000, 'x')), std::string(100000, 'x')},
    };
    for (Formatted const& row : rows) {
        EXPECT_EQ(row.made, row.expected) << row.guards;
    }
}

TEST(Format, FormatThatDoesNotFitStaysReadable) {
    Formatted const rows[] = {
        {"a text for a number", xString::Format("at %d", std::string("x")), "at %d"},
        {"a number for a fraction's place", xString::Format("%d", 1.5), "%d"},
        {"too few arguments", xString::Format("%s : %s", "x"), "%s : %s"},
        {"none at all", xString::Format("%s%n"), "%s%n"},
        {"an unfinished conversion", xString::Format("100%", 1), "100%"},
        {"a write into memory", xString::Format("%n", 1), "%n"},
        {"too many arguments", xString::Format("%s", "x", "y"), "x"},
        {"a number for a text", xString::Format("%s", 5), "%s"},
    };
    for (Formatted const& row : rows) {
        EXPECT_EQ(row.made, row.expected) << row.guards;
    }
    EXPECT_STREQ(xCommon::xExceptionf("%s : %d", std::string("%d"), 3).what(), "%d : 3");
}

TEST(Strings, SplitDropsEmptyPieces) {
    struct Row {
        std::string text;
        std::string separator;
        Texts pieces;
    };
    Row const rows[] = {
        {"a;;b", ";", {"a", "b"}},
        {";a;", ";", {"a"}},
        {"", ";", {}},
        {";;", ";", {}},
        {"abc", ";", {"abc"}},
        {"a::b:c", "::", {"a", "b:c"}},
        {"a:::b", "::", {"a", ":b"}},
        {"/devices/d/controls/p/on", "/", {"devices", "d", "controls", "p", "on"}},
        {"abc", "", {"abc"}},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(xString::Split(row.text, row.separator), row.pieces) << row.text;
    }
}

TEST(Strings, ReplaceTakesEveryOccurrenceOnce) {
    struct Row {
        std::string text, from, to, expected;
    };
    Row const rows[] = {
        {"0x0x1", "0x", "", "1"}, {"00xx1", "0x", "", "0x1"}, {"aaa", "a", "aa", "aaaaaa"},
        {"aaa", "aa", "b", "ba"}, {"abc", "", "x", "abc"},    {"", "a", "b", ""},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(xString::Replace(row.text, row.from, row.to), row.expected) << row.text;
    }
}

TEST(Strings, EndsAndCase) {
    EXPECT_TRUE(xString::EndsWith("/x/on", "/on"));
    EXPECT_FALSE(xString::EndsWith("on", "/on"));
    EXPECT_TRUE(xString::StartsWith("on", ""));
    EXPECT_FALSE(xString::StartsWith("o", "on"));
    // Only ASCII: the bytes of other letters must survive.
    EXPECT_EQ(xString::ToLower("AZ[ЖЯ"), "az[ЖЯ");
    EXPECT_EQ(xMisc::Invert("0") + xMisc::Invert("1") + xMisc::Invert("r"), "10r");
}

TEST(Strings, CutKeepsCharactersWhole) {
    struct Row {
        std::string text;
        size_t limit;
        std::string cut;
    };
    Row const rows[] = {
        {"abc", 2, "ab"}, {"abc", 3, "abc"}, {"abc", 9, "abc"}, {"жук", 3, "ж"}, {"жук", 4, "жу"},       {"жук", 1, ""},
        {"a😀", 4, "a"},   {"a😀", 5, "a😀"},   {"", 0, ""},       {"x", 0, ""},    {"ab\x80\x80", 3, "a"},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(xString::CutUtf8(row.text, row.limit), row.cut) << row.text << ' ' << row.limit;
    }
}

TEST(Strings, PairsOfDigitsBecomeBytes) {
    struct Row {
        std::string text;
        std::vector<unsigned char> bytes;
    };
    Row const rows[] = {
        {"0aFF", {0x0A, 0xFF}}, {"", {}}, {"abc", {0xAB}}, {"zz10", {0x00, 0x10}}, {"-1+1 1", {0, 0, 0}},
    };
    for (Row const& row : rows) {
        xCommon::ByteList list;
        xString::string_to_hex(list, row.text);
        EXPECT_EQ(std::vector<unsigned char>(list.begin(), list.end()), row.bytes) << row.text;
    }
}

TEST(Round, HalfAwayFromZeroAfterASinglePrecisionProduct) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    struct Row {
        float value;
        float scale;
        int precision;
        char const* printed;
    };
    Row const rows[] = {
        {0.125F, 1, 2, "0.13"},
        {-0.125F, 1, 2, "-0.13"},
        {2.5F, 1, 0, "3"},
        {-2.5F, 1, 0, "-3"},
        {123, 0.1F, 2, "12.30"},
        // In double precision the product is 3.49999994 and would be rounded down.
        {5, 0.7F, 0, "4"},
        {0, 0.001F, 4, "0.0000"},
        {infinity, 1, 2, "inf"},
        {3e38F, 10, 2, "inf"},
        // The digits shifted before the point go beyond any number.
        {1, 1, 400, nullptr},
    };
    for (Row const& row : rows) {
        float const rounded = xMisc::round(row.value, row.scale, row.precision);
        if (row.printed != nullptr) {
            EXPECT_EQ(xString::Format("%.*f", row.precision, rounded), row.printed) << row.value << " * " << row.scale;
        } else {
            EXPECT_EQ(rounded, row.value * row.scale);
        }
    }
    EXPECT_TRUE(std::isnan(xMisc::round(NAN, 1, 2)));
}
