#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/duk_helper.h"
#include "foundation/plain_expression.h"
#include "foundation/xstring.h"

using xCommon::dukHelper;
using xCommon::xString;

namespace {

std::string evaluated(std::string const& value, std::string const& expression) {
    dukHelper helper;
    helper.add_param("value", value);
    return helper.show(expression);
}

}  // namespace

TEST(Expression, LastValueAsText) {
    std::tuple<char const*, char const*, char const*> const rows[] = {
        {"21", "value", "21"},
        {"21", "value * 2", "42"},
        {"21", "value + 2", "212"},  // the variable is a text
        {"21", "Number(value) + 2", "23"},
        {"21", "typeof value", "string"},
        {"1", "value == '1' ? 'вкл' : 'выкл'", "вкл"},
        {"3", "var map = {'3': 'three'}; map[value]", "three"},
        {"3", "var n = parseInt(value, 10); n << 4", "48"},
        {"1.005", "(value * 1).toFixed(1)", "1.0"},
        {"0.1", "value * 3", "0.30000000000000004"},
        {"x", "value * 1", "NaN"},
        {"0", "1 / value", "Infinity"},
        {"7", "value > 5", "true"},
        {"7", "null", "null"},
        {"7", "undefined", "undefined"},
        {"7", "[value, 8]", "7,8"},
        {"7", "({})", "[object Object]"},
        {"", "value", ""},
        {"7", "''", ""},
        {"'; throw 1; '", "value.length", "13"},  // a value is no code
    };
    for (auto const& [value, expression, result] : rows) {
        EXPECT_EQ(evaluated(value, expression), result) << expression;
    }
}

TEST(Expression, FaultIsAnExceptionWithTheEnginesMessage) {
    std::pair<char const*, char const*> const rows[] = {
        {"value +", "SyntaxError"},
        {"nosuch + 1", "nosuch"},
        {"value.nosuch.nosuch", "TypeError"},
        {"throw new Error('причина')", "причина"},
        {"throw 'text'", "text"},
        {"({toString: function () { throw new Error('late'); }})", "late"},
        {"(function f() { return f() + 1; })()", "RangeError"},
    };
    for (auto const& [expression, message] : rows) {
        try {
            std::string const result = evaluated("1", expression);
            ADD_FAILURE() << expression << " gave " << result.substr(0, 40);
        } catch (std::exception const& e) {
            EXPECT_THAT(e.what(), testing::HasSubstr(message)) << expression;
        }
    }
}

// Half of its limit is to be had, over and over; what is beyond it ends the expression.
TEST(Expression, MemoryIsHeldToItsLimitAndWhatWasLetGoIsFreeAgain) {
    std::string const doubled = "for (var s = 'x'; s.length < 4 << 20; s += s); ";
    EXPECT_EQ(evaluated("1", doubled + "for (var i = 0; i < 20; ++i) s.substr(i).length; s.length"), "4194304");
    try {
        evaluated("1", doubled + "[s + 1, s + 2, s + 3, s + 4].length");
        ADD_FAILURE();
    } catch (std::exception const& e) {
        EXPECT_STREQ(e.what(), "превышена память 16 МиБ");
    }
}

// A word or a sign missing in its tables costs time alone; one too many lets an expression change the engine.
TEST(Expression, WhatLeavesTheEngineAsItWas) {
    std::string const members =
        "E LN10 LN2 LOG10E LOG2E PI SQRT1_2 SQRT2 abs acos asin atan atan2 ceil charAt charCodeAt cos exp floor "
        "indexOf lastIndexOf length log max min pow random round sin slice sqrt substr substring tan toExponential "
        "toFixed toLowerCase toPrecision toString toUpperCase";
    for (std::string const& member : xString::Split(members, " ")) {
        EXPECT_TRUE(xCommon::is_plain_expression("Math." + member)) << member;
        EXPECT_FALSE(xCommon::is_plain_expression(member)) << member;
    }
    // They are separated by two blanks.
    std::string const plain =
        "value  Infinity  Math  NaN  Number(1)  String(1)  false  isNaN(1)  isFinite(1)  null  parseFloat(1)  true  "
        "parseInt(1, 2)  undefined  1 + 2 - 3 * 4 % 5 / 6  (1) / 2  value / 2  'a' / 2  1 & 2 | 3 ^ ~4  !1  1 == 2  "
        "1 ? 2 : 3  1 === 2  1 != 2  1 !== 2  1 < 2  1 <= 2  1 << 2  1 > 2  1 >= 2  1 >> 2  1 >>> 2  1 - -2  12.5  "
        "'a' + \"b\"  value.length  (1).toFixed(0)";
    std::string const others =
        "values  Value  _  $  value_  Math.Number  Math.value  Math.constructor  Math.  .E  / 2  1 / / 2  1 // 2  "
        "1 /* 2  (/ 2  1 = 2  1 <<= 2  1 >>= 2  1 >>>= 2  value++  --value  [1]  {}  1;  'a  'a\"b'  'a\\'  'a\n'  "
        "1.  1e5  0x10  1.5.toFixed  1_  \t1  1\n  @  #  `  ж";
    for (std::string const& expression : xString::Split(plain, "  ")) {
        EXPECT_TRUE(xCommon::is_plain_expression(expression)) << expression;
    }
    for (std::string const& expression : xString::Split(others, "  ")) {
        EXPECT_FALSE(xCommon::is_plain_expression(expression)) << expression;
    }
}

// Bytes that are no text are one character each; the engine takes a text that begins with FF or with 80 to 82 for an
// internal symbol of its own.
TEST(Expression, BytesOfATextRegisterPassUnchanged) {
    for (std::string const& value : {std::string("a\0b", 3), std::string(4, '\0'), std::string("A\xFF\xFE\x80"),
                                     std::string("\xC3("), std::string("Привет"), std::string("\xFF\xFF"),
                                     std::string("\x80\x41"), std::string("\x81\x41"), std::string("\x82\x41")}) {
        EXPECT_EQ(evaluated(value, "value"), value);
        EXPECT_EQ(evaluated(value, "value + '!'"), value + "!");
    }
    std::tuple<std::string, char const*, std::string> const rows[] = {
        {std::string("a\0b", 3), "value.length", "3"},
        {"x", "'a\\u0000b'", std::string("a\0b", 3)},
        {"\x80\x41", "value.length", "2"},
        {"\xFF\x01", "value.charCodeAt(0) * 256 + value.charCodeAt(1)", "65281"},
        {"\xC3(", "value.length", "2"},
        {"\xD0\x96", "value.length", "1"},  // a letter
        {"\xD0", "value + '\\u0080'", "\xD0\x80"},
        {"\xFF", "value + 'Ж'", "ÿЖ"},  // no byte: the whole is a text
        {"\xFF", "'text'", "text"},
    };
    for (auto const& [value, expression, result] : rows) {
        EXPECT_EQ(evaluated(value, expression), result) << expression;
    }
}

// The engine is kept; each of these would be seen by the next expression on a kept one.
TEST(Expression, NothingCarriesOver) {
    std::tuple<char const*, char const*, char const*> const rows[] = {
        {"var left = 1; value = 'changed'; Math.left = 2; value", "typeof left + typeof Math.left + value",
         "undefinedundefined5"},
        {"parseFloat = function () { return 0; }; 1", "parseFloat(value)", "5"},
        {"Object.prototype.toString = String.prototype.valueOf = null; 1", "'' + {}", "[object Object]"},
        {"Array.prototype[0] = 'x'; 1", "[,].join()", ""},
        {"Object.defineProperty(String.prototype, 'length', {value: 9}); 1", "value.length", "1"},
        {"(function () { this.hidden = 1; })(); eval('var other = 1'); 1", "typeof hidden + typeof other",
         "undefinedundefined"},
        {"Object.freeze(Math); Object.seal(this); 1", "var fresh = 1; Math.fresh = fresh; Math.fresh", "1"},
        {"delete this.value; delete this.Number; 1", "Number(value)", "5"},
        {"(0).constructor.constructor('return this')().leak = 7; 1", "typeof leak", "undefined"},
        {"var big = []; for (var i = 0; i < 20000; i++) big.push('x' + i); throw 1", "typeof big", "undefined"},
        {"(function f() { return f() + 1; })()", "(function f(n) { return n ? f(n - 1) + 1 : 0; })(50)", "50"},
        {"'use strict'; undeclared = 1", "this === (0, eval)('this')", "true"},
        // What looks plainer than it is.
        {"1 /* ' */; leak = 1; /* ' */", "typeof leak", "undefined"},
        {"/'/; leak = 1; /'/", "typeof leak", "undefined"},
        {"value <<= 1", "value", "5"},
        {"Math.E = 1 // '", "Math.E > 2", "true"},
        {"1. constructor.prototype.toFixed = 0", "(5).toFixed(1)", "5.0"},
        {"Math['E'] + (Math = 1)", "Math.abs(-value)", "5"},
        {"Duktape.fin({}, function () { leak = 1; }); Duktape.errCreate = function () { return 'no'; }; 1",
         "typeof leak + new Error('e').message", "undefinede"},
    };
    for (auto const& [before, expression, result] : rows) {
        dukHelper helper;
        helper.add_param("value", "5");
        EXPECT_EQ(helper.show(expression), result);
        try {
            helper.show(before);
        } catch (std::exception const&) {  // what fails leaves nothing either
        }
        EXPECT_EQ(helper.show(expression), result) << "behind " << before;
    }
    EXPECT_NE(evaluated("5", "Math.random()"), evaluated("5", "Math.random()"));
}
