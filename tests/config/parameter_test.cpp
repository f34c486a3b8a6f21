#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>

#include "config/cparam.h"
#include "support/log_capture.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

Json::Value json(std::string const& text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

/// A parameter "u" with these further keys.
CParam made(std::string const& keys) {
    Json::Value node = json(R"({"name": "u")" + (keys.empty() ? "" : ", " + keys) + "}");
    return {nullptr, node};
}

std::string refusal(std::string const& keys) {
    try {
        made(keys);
    } catch (std::exception const& e) {
        return e.what();
    }
    return "taken";
}

}  // namespace

TEST(Parameter, Defaults) {
    CParam const param = made("");
    EXPECT_EQ(param.value_type, vt_none);
    EXPECT_EQ(param.word_order, 0);
    EXPECT_TRUE(param.read_only);
    EXPECT_FALSE(param.has_scale || param.has_correction || param.has_min || param.has_max || param.has_error_value);
    EXPECT_FALSE(param.inverted);
    EXPECT_EQ(param.precision, 2);
    EXPECT_EQ(param.debounce, 0);
    // null is as good as absent.
    CParam const nulls = made(R"("scale": null, "min": null, "error_value": null, "word_order": null, "unit": null)");
    EXPECT_FALSE(nulls.has_scale || nulls.has_min || nulls.has_error_value);
}

TEST(Parameter, WordsOfTypeAndOrder) {
    struct Row {
        char const* word;
        int code;
    };
    Row const types[] = {
        {"", 0},      {"bit", 3},   {"i32", 5},      {"u32", 6},      {"str", 10},    {"i8", 15},     {"i16", 16},
        {"u8", 17},   {"u16", 18},  {"float16", 19}, {"float32", 23}, {"fixi16", 40}, {"fixu16", 41}, {"date_time", 42},
        {"str2", 43}, {"str4", 44}, {"str8", 45},    {"ma", 46},      {"m0a", 47},    {"m0r", 48},    {"m1", 49},
        {"m3", 50},   {"m6", 51},   {"m7", 52},      {"u24", 53},     {"i24", 54},    {"bcd32", 55}};
    for (Row const& row : types) {
        EXPECT_EQ(made(R"("value_type": ")" + std::string(row.word) + "\"").value_type, row.code) << row.word;
    }
    Row const orders[] = {{"big_endian", 0}, {"little_endian", 1}, {"mid_big_endian", 2}, {"mid_little_endian", 3}};
    for (Row const& row : orders) {
        EXPECT_EQ(made(R"("word_order": ")" + std::string(row.word) + "\"").word_order, row.code) << row.word;
    }
    Row const refused[] = {
        {R"("value_type": "float")", 0}, {R"("value_type": "U16")", 0}, {R"("value_type": " u16")", 0},
        {R"("word_order": "")", 1},      {R"("word_order": "big")", 1}, {R"("word_order": 0)", 1},
    };
    for (Row const& row : refused) {
        Json::Value const node = json("{" + std::string(row.word) + "}");
        char const* const key = row.code == 0 ? "value_type" : "word_order";
        EXPECT_EQ(refusal(row.word), "u : неопознанный " + std::string(key) + " = " + node[key].asString() + ".");
    }
}

TEST(Parameter, PrecisionIsOneMoreThanTheDigitsOfTheScale) {
    struct Row {
        char const* scale;
        int precision;
    };
    Row const rows[] = {
        {"1", 2},    {"1.0", 2},  {"10", 2},    {"1.5", 2},      {"0.5", 2},       {"0.1", 2},
        {"0.25", 3}, {"0.01", 3}, {"0.001", 4}, {"0.000001", 7}, {"0.0000001", 1}, {"0", 1},
        {"-0.1", 2}, {"-10", 1},  {"0.9", 2},   {"true", 2},     {"0.3333333", 7},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(made(R"("scale": )" + std::string(row.scale)).precision, row.precision) << row.scale;
    }
    EXPECT_EQ(refusal(R"("scale": -1e39)"), "неверный формат scale : отсутствует точка : -inf.");
}

TEST(Parameter, PublishedText) {
    struct Row {
        char const* keys;
        char const* raw;
        char const* published;
    };
    Row const rows[] = {
        {"", "123", "123"},
        {"", "", ""},
        {R"("unit": "V")", "", ""},
        {R"("unit": "V")", "12.5", "12.5 V"},
        {R"("unit": "50% %s")", "abc", "abc 50% %s"},
        {R"("scale": 0.1)", "123", "12.30"},
        {R"("scale": 0.1, "unit": "°C")", "-5", "-0.50 °C"},
        {R"("scale": 10)", "12.5", "125.00"},
        {R"("scale": 0.25)", "3", "0.750"},
        {R"("scale": 0.001)", "1", "0.0010"},
        {R"("scale": 0.5)", "0.25", "0.13"},  // half away from zero
        {R"("scale": 0.5)", "-0.25", "-0.13"},
        {R"("scale": 0)", "7", "0.0"},
        {R"("scale": -1)", "7", "-7.0"},
        {R"("correction": 5)", "1.5", "6.50"},
        {R"("correction": -5, "unit": "V")", "1", "-4.00 V"},
        {R"("correction": 0)", "1", "1.00"},
        {R"("scale": 0.1, "correction": 2)", "123", "14.30"},
        {R"("scale": 0.01, "correction": 100)", "1", "100.010"},
        // No number: as it came, even without the unit.
        {R"("scale": 0.1, "unit": "V")", "abc", "abc"},
        {R"("correction": 1, "unit": "V")", "abc", "abc"},
        {R"("scale": 0.1, "unit": "V")", "1e999", "1e999"},
        {R"("scale": 0.1)", "12abc", "1.20"},  // as far as it is one
        {R"("inverted": true)", "1", "1"},     // not for here
    };
    for (Row const& row : rows) {
        EXPECT_EQ(made(row.keys).format(row.raw), row.published) << row.keys << ' ' << row.raw;
    }
}

TEST(Parameter, ScaledValuesTraceTheMemory) {
    LogCapture log;
    made(R"("scale": 2)").format("1");
    EXPECT_THAT(log.entries(), ElementsAre(testing::MatchesRegex(
                                   R"(\[4\] \[u\] mem_usage : vm = [0-9]+\.[0-9][0-9] : res = [0-9]+\.[0-9][0-9]\.)")));
    log.clear();
    made(R"("correction": 2)").format("1");
    made("").format("1");
    EXPECT_THAT(log.entries(), IsEmpty());
}

TEST(Parameter, RangeOfTheScaledValue) {
    struct Row {
        char const* keys;
        char const* raw;
        char const* line;  // null: may be published
    };
    Row const rows[] = {
        {"", "abc", nullptr},
        {R"("min": 0, "max": 100)", "", nullptr},
        {R"("min": 0, "max": 100, "scale": 0.1)", "1000", nullptr},
        {R"("min": 0, "max": 100, "scale": 0.1)", "1001", "min = 0.00 : value = 100.10 : max = 100.00."},
        {R"("min": 0, "max": 100, "scale": 0.1)", "-1", "min = 0.00 : value = -0.10 : max = 100.00."},
        {R"("min": 0)", "1e30", nullptr},
        {R"("max": 0)", "-1e30", nullptr},
        {R"("min": 5)", "4.99", "min = 5.00 : value = 4.99 : max = 0.00."},
        {R"("min": 0)", "nan", "min = 0.00 : value = nan : max = 0.00."},
        {R"("max": 0)", "nan", "min = 0.00 : value = nan : max = 0.00."},
        // The limit has single precision too, so that it passes itself.
        {R"("min": 0.1, "max": 0.1)", "0.1", nullptr},
        {R"("max": 16777216)", "16777217", nullptr},
        {R"("min": 0, "max": 10, "correction": 100)", "10", nullptr},
    };
    for (Row const& row : rows) {
        LogCapture const log(false);
        CParam param = made(row.keys);
        EXPECT_EQ(param.check_value(row.raw), row.line == nullptr) << row.keys << ' ' << row.raw;
        if (row.line == nullptr) {
            EXPECT_THAT(log.entries(), IsEmpty()) << row.keys;
        } else {
            EXPECT_THAT(log.entries(),
                        ElementsAre("[3] [u] значение вне пределов диапазона : " + std::string(row.line)));
        }
    }
    EXPECT_THROW(made(R"("min": 0)").check_value("abc"), std::invalid_argument);
    EXPECT_THROW(made(R"("min": 0)").check_value("1e999"), std::out_of_range);
}

TEST(Parameter, ErrorPattern) {
    using Bytes = std::vector<unsigned char>;
    struct Row {
        char const* pattern;
        Bytes data;
        bool good;
    };
    Row const rows[] = {
        {"0xFFFF", {0xFF, 0xFF}, false},
        {"0xFFFF", {0xFF, 0xFE}, true},
        {"FFFF", {0xFF, 0xFF}, false},
        {"0XFFFF", {0xFF, 0xFF}, false},
        {"0xffff", {0xFF, 0xFF}, true},
        {"0xFFFF", {0xFF}, true},
        {"0xFFFF", {0xFF, 0xFF, 0xFF}, true},
        {"0x800x00", {0x80, 0x00}, false},
        {"0x0A", {0x0A}, false},
        {"0xFFFF", {}, false},
        {"", {0x00}, true},
    };
    for (Row const& row : rows) {
        CParam param = made(R"("error_value": ")" + std::string(row.pattern) + "\"");
        EXPECT_EQ(param.check_error_value(row.data.data(), static_cast<int>(row.data.size())), row.good)
            << row.pattern << ' ' << param.hexStr(row.data.data(), static_cast<int>(row.data.size()));
    }
    EXPECT_TRUE(made("").check_error_value(nullptr, 0));
    EXPECT_FALSE(made(R"("error_value": "FF")").check_error_value(nullptr, -1));
}

TEST(Parameter, OverlayReplacesWhatIsPresent) {
    std::string const full =
        R"("value_type": "u16", "word_order": "little_endian", "read_only": false, "poll_interval": 1, "rto": 2,
           "sto": 3, "poll_reconnect": true, "scale": 0.1, "correction": 4, "inverted": true, "min": 5, "max": 6,
           "unit": "V", "error_value": "0xAA", "debounce": 7, "enabled": true)";
    CParam param = made(full);
    Json::Value nothing = json("{}");
    param.Compare(nothing);
    EXPECT_EQ(param.value_type, vt_u16);

    Json::Value one = json(R"({"unit": "A"})");
    param.Compare(one);
    EXPECT_EQ(param.unit, "A");
    EXPECT_EQ(param.value_type, vt_u16);
    EXPECT_EQ(param.word_order, 1);
    EXPECT_FALSE(param.read_only);
    EXPECT_EQ(param.rto, 2);
    EXPECT_TRUE(param.poll_reconnect);
    EXPECT_EQ(param.scale, 0.1F);
    EXPECT_EQ(param.correction, 4);
    EXPECT_TRUE(param.inverted);
    EXPECT_EQ(param.error_value, "AA");
    EXPECT_EQ(param.debounce, 7);

    Json::Value all = json(R"({"name": "other", "type": "other", "enabled": false, "value_type": "i16",
        "word_order": "big_endian", "read_only": true, "poll_interval": 11, "rto": 12, "sto": 13,
        "poll_reconnect": false, "scale": 0.001, "correction": -4, "inverted": false, "min": 15, "max": 16,
        "unit": "", "error_value": "0XBB", "debounce": 17})");
    param.Compare(all);
    EXPECT_EQ(param.value_type, vt_i16);
    EXPECT_EQ(param.word_order, 0);
    EXPECT_TRUE(param.read_only);
    EXPECT_EQ(param.poll_interval, 11);
    EXPECT_EQ(param.rto, 12);
    EXPECT_EQ(param.sto, 13);
    EXPECT_FALSE(param.poll_reconnect);
    EXPECT_EQ(param.scale, 0.001F);
    EXPECT_EQ(param.correction, -4);
    EXPECT_FALSE(param.inverted);
    EXPECT_EQ(param.unit, "");
    EXPECT_EQ(param.error_value, "BB");
    EXPECT_EQ(param.debounce, 17);
    // What an overlay leaves alone.
    EXPECT_EQ(param.name, "u");
    EXPECT_EQ(param.type, "");
    EXPECT_TRUE(param.enabled);
    EXPECT_EQ(param.min, 5);
    EXPECT_EQ(param.max, 6);
    EXPECT_EQ(param.precision, 2);
}

TEST(Parameter, OverlayOfABareOneSwitchesTheFeaturesOn) {
    CParam param = made("");
    Json::Value node = json(R"({"scale": 0.001, "correction": 1, "error_value": "0xFF", "min": 1})");
    param.Compare(node);
    EXPECT_TRUE(param.has_scale && param.has_correction && param.has_error_value);
    EXPECT_FALSE(param.has_min);
    EXPECT_EQ(param.format("1000"), "2.00");
    for (char const* text : {R"({"value_type": "float"})", R"({"word_order": ""})"}) {
        node = json(text);
        EXPECT_THROW(param.Compare(node), std::exception) << text;
    }
}
