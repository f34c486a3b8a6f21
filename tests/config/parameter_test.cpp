#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/cparam.h"
#include "foundation/xstring.h"
#include "support/log_capture.h"
#include "support/sample_config.h"

using sample::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using xCommon::xString;

namespace {

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
    std::pair<char const*, int> const types[] = {
        {"", 0},      {"bit", 3},   {"i32", 5},      {"u32", 6},      {"str", 10},    {"i8", 15},     {"i16", 16},
        {"u8", 17},   {"u16", 18},  {"float16", 19}, {"float32", 23}, {"fixi16", 40}, {"fixu16", 41}, {"date_time", 42},
        {"str2", 43}, {"str4", 44}, {"str8", 45},    {"ma", 46},      {"m0a", 47},    {"m0r", 48},    {"m1", 49},
        {"m3", 50},   {"m6", 51},   {"m7", 52},      {"u24", 53},     {"i24", 54},    {"bcd32", 55}};
    for (auto const& [word, code] : types) {
        EXPECT_EQ(made(R"("value_type": ")" + std::string(word) + "\"").value_type, code) << word;
    }
    std::pair<char const*, int> const orders[] = {
        {"big_endian", 0}, {"little_endian", 1}, {"mid_big_endian", 2}, {"mid_little_endian", 3}};
    for (auto const& [word, code] : orders) {
        EXPECT_EQ(made(R"("word_order": ")" + std::string(word) + "\"").word_order, code) << word;
    }
    for (auto const& [key, value] : {std::pair{"value_type", "float"},
                                     {"value_type", "U16"},
                                     {"value_type", " u16"},
                                     {"word_order", ""},
                                     {"word_order", "big"},
                                     {"word_order", "0"}}) {
        EXPECT_EQ(refusal(std::string("\"") + key + "\": \"" + value + "\""),
                  "u : неопознанный " + std::string(key) + " = " + value + ".");
    }
    EXPECT_EQ(refusal(R"("word_order": 0)"), "u : неопознанный word_order = 0.");
}

TEST(Parameter, PrecisionIsOneMoreThanTheDigitsOfTheScale) {
    std::pair<char const*, int> const rows[] = {
        {"1", 2},    {"1.0", 2},  {"10", 2},    {"1.5", 2},      {"0.5", 2},       {"0.1", 2},
        {"0.25", 3}, {"0.01", 3}, {"0.001", 4}, {"0.000001", 7}, {"0.0000001", 1}, {"0", 1},
        {"-0.1", 2}, {"-10", 1},  {"0.9", 2},   {"true", 2},     {"0.3333333", 7},
    };
    for (auto const& [scale, precision] : rows) {
        EXPECT_EQ(made(R"("scale": )" + std::string(scale)).precision, precision) << scale;
    }
    EXPECT_EQ(refusal(R"("scale": -1e39)"), "неверный формат scale : отсутствует точка : -inf.");
}

TEST(Parameter, PublishedText) {
    std::tuple<char const*, char const*, char const*> const rows[] = {
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
    for (auto const& [keys, raw, published] : rows) {
        EXPECT_EQ(made(keys).format(raw), published) << keys << ' ' << raw;
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
    std::tuple<char const*, char const*, char const*> const rows[] = {
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
    for (auto const& [keys, raw, line] : rows) {
        LogCapture const log(false);
        CParam param = made(keys);
        EXPECT_EQ(param.check_value(raw), line == nullptr) << keys << ' ' << raw;
        if (line == nullptr) {
            EXPECT_THAT(log.entries(), IsEmpty()) << keys;
        } else {
            EXPECT_THAT(log.entries(), ElementsAre("[3] [u] значение вне пределов диапазона : " + std::string(line)));
        }
    }
    EXPECT_THROW(made(R"("min": 0)").check_value("abc"), std::invalid_argument);
    EXPECT_THROW(made(R"("min": 0)").check_value("1e999"), std::out_of_range);
}

TEST(Parameter, ErrorPattern) {
    using Bytes = std::vector<unsigned char>;
    std::tuple<char const*, Bytes, bool> const rows[] = {
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
    for (auto const& [pattern, data, good] : rows) {
        CParam param = made(R"("error_value": ")" + std::string(pattern) + "\"");
        EXPECT_EQ(param.check_error_value(data.data(), static_cast<int>(data.size())), good)
            << pattern << ' ' << param.hexStr(data.data(), static_cast<int>(data.size()));
    }
    EXPECT_TRUE(made("").check_error_value(nullptr, 0));
    EXPECT_FALSE(made(R"("error_value": "FF")").check_error_value(nullptr, -1));
}

TEST(Parameter, OverlayReplacesWhatIsPresent) {
    CParam param = made(
        R"("value_type": "u16", "word_order": "little_endian", "read_only": false, "poll_interval": 1, "rto": 2,
           "sto": 3, "poll_reconnect": true, "scale": 0.1, "correction": 4, "inverted": true, "min": 5, "max": 6,
           "unit": "V", "error_value": "0xAA", "debounce": 7, "enabled": true)");
    // Name, type, enabled, min, max and digits are left alone.
    std::pair<char const*, char const*> const rows[] = {
        {"{}", "u  on 5 6 2 : u16 1 rw 1 2 3 reconnects 0.100 4 inverted V AA 7"},
        {R"({"unit": "A"})", "u  on 5 6 2 : u16 1 rw 1 2 3 reconnects 0.100 4 inverted A AA 7"},
        {R"({"name": "other", "type": "other", "enabled": false, "value_type": "i16", "word_order": "big_endian",
             "read_only": true, "poll_interval": 11, "rto": 12, "sto": 13, "poll_reconnect": false, "scale": 0.001,
             "correction": -4, "inverted": false, "min": 15, "max": 16, "unit": "", "error_value": "0XBB",
             "debounce": 17})",
         "u  on 5 6 2 : i16 0 r 11 12 13  0.001 -4   BB 17"},
    };
    for (auto const& [overlay, left] : rows) {
        Json::Value node = json(overlay);
        param.Compare(node);
        std::string const kept = xString::Format("%s %s %s %g %g %d : ", param.name, param.type,
                                                 param.enabled ? "on" : "off", param.min, param.max, param.precision);
        std::string const replaced =
            xString::Format("%s %d %s %d %d %d %s %.3f %d %s %s %s %d", param.value_type == vt_u16 ? "u16" : "i16",
                            param.word_order, param.read_only ? "r" : "rw", param.poll_interval, param.rto, param.sto,
                            param.poll_reconnect ? "reconnects" : "", param.scale, param.correction,
                            param.inverted ? "inverted" : "", param.unit, param.error_value, param.debounce);
        EXPECT_EQ(kept + replaced, left) << overlay;
    }
    EXPECT_EQ(param.value_type, vt_i16);
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
