#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/duk_helper.h"

using xCommon::dukHelper;

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
