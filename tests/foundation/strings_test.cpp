#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/line/hex.h"
#include "foundation/byte_list.h"
#include "foundation/xexception.h"
#include "foundation/xmisc.h"
#include "foundation/xstring.h"

using xCommon::xMisc;
using xCommon::xString;

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
        // A format that doesn't fit stays readable.
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

TEST(Strings, PiecesReplacementsAndEnds) {
    auto const split = [](std::string const& text, std::string const& separator) {
        std::string joined;
        for (std::string const& piece : xString::Split(text, separator)) {
            joined += "<" + piece + ">";
        }
        return joined;
    };
    std::pair<std::string, char const*> const rows[] = {
        // Empty pieces are dropped.
        {split("a;;b", ";"), "<a><b>"},
        {split(";a;", ";"), "<a>"},
        {split("", ";"), ""},
        {split(";;", ";"), ""},
        {split("abc", ";"), "<abc>"},
        {split("a::b:c", "::"), "<a><b:c>"},
        {split("a:::b", "::"), "<a><:b>"},
        {split("/devices/d/controls/p/on", "/"), "<devices><d><controls><p><on>"},
        {split("abc", ""), "<abc>"},
        // Every occurrence is replaced, once.
        {xString::Replace("0x0x1", "0x", ""), "1"},
        {xString::Replace("00xx1", "0x", ""), "0x1"},
        {xString::Replace("aaa", "a", "aa"), "aaaaaa"},
        {xString::Replace("aaa", "aa", "b"), "ba"},
        {xString::Replace("abc", "", "x"), "abc"},
        {xString::Replace("", "a", "b"), ""},
        // Characters stay whole.
        {xString::CutUtf8("abc", 2), "ab"},
        {xString::CutUtf8("abc", 3), "abc"},
        {xString::CutUtf8("abc", 9), "abc"},
        {xString::CutUtf8("жук", 3), "ж"},
        {xString::CutUtf8("жук", 4), "жу"},
        {xString::CutUtf8("жук", 1), ""},
        {xString::CutUtf8("a😀", 4), "a"},
        {xString::CutUtf8("a😀", 5), "a😀"},
        {xString::CutUtf8("", 0), ""},
        {xString::CutUtf8("x", 0), ""},
        {xString::CutUtf8("ab\x80\x80", 3), "a"},
        // What a line of the log shows : no controls, no bytes that are no text, no more than its limit.
        {xString::Shown("\x1F \x7E\x7F"), "\\x1F ~\\x7F"},
        {xString::Shown("\xC2\x80\xC2\x9F\xC2\xA0"), "\\xC2\\x80\\xC2\\x9F\xC2\xA0"},
        {xString::Shown("\xD0\xC1\xBF\xE0\x9F\xBF"), "\\xD0\\xC1\\xBF\\xE0\\x9F\\xBF"},
        {xString::Shown("\xED\xA0\x80\xF4\x90\x80\x80"), "\\xED\\xA0\\x80\\xF4\\x90\\x80\\x80"},
        {xString::Shown("\u0800\uD7FF\U00010000\U0010FFFF"), "\u0800\uD7FF\U00010000\U0010FFFF"},
        {xString::Shown("жук", 6) + xString::Shown("жук", 5), "жукжу... (всего 6 байт)"},
        // Only ASCII: the bytes of other letters must survive.
        {xString::ToLower("AZ[ЖЯ"), "az[ЖЯ"},
        {xMisc::Invert("0") + xMisc::Invert("1") + xMisc::Invert("r"), "10r"},
    };
    for (auto const& [made, expected] : rows) {
        EXPECT_EQ(made, expected);
    }
    EXPECT_TRUE(xString::EndsWith("/x/on", "/on") && !xString::EndsWith("on", "/on"));
    EXPECT_TRUE(xString::StartsWith("on", "") && !xString::StartsWith("o", "on"));
    for (auto const& [text, bytes] :
         {std::pair{"0aFF", "0A FF"}, {"", ""}, {"abc", "AB"}, {"zz10", "00 10"}, {"-1+1 1", "00 00 00"}}) {
        xCommon::ByteList list;
        xString::string_to_hex(list, text);
        EXPECT_EQ(hex::text(std::vector<unsigned char>(list.begin(), list.end())), bytes) << text;
    }
}

TEST(Round, HalfAwayFromZeroAfterASinglePrecisionProduct) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    std::tuple<float, float, int, char const*> const rows[] = {
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
    for (auto const& [value, scale, precision, printed] : rows) {
        float const rounded = xMisc::round(value, scale, precision);
        if (printed != nullptr) {
            EXPECT_EQ(xString::Format("%.*f", precision, rounded), printed) << value << " * " << scale;
        } else {
            EXPECT_EQ(rounded, value * scale);
        }
    }
    EXPECT_TRUE(std::isnan(xMisc::round(NAN, 1, 2)));
}
