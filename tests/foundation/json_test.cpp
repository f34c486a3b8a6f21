#include <climits>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>

#include "foundation/jutils.h"
#include "support/temp_folder.h"

using testing::AllOf;
using testing::HasSubstr;
using xCommon::jUtils;

namespace {

Json::Value json(std::string const& text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

/// The text of the exception that the call ends in; empty when it ends in none.
template <typename Call>
std::string failure(Call call) {
    try {
        call();
    } catch (std::exception const& e) {
        return e.what();
    }
    return {};
}

}  // namespace

TEST(JsonFile, FailureTellsPathPlaceAndReason) {
    TempFolder const folder;
    struct Row {
        char const* guards;
        std::string content;
        char const* place;
        char const* reason;
    };
    Row const rows[] = {
        {"empty file", "", "", "файл пуст"},
        {"white space alone", " \n", "Line 2, Column 1", "value, object or array expected"},
        {"truncated", "{\"a\":1,\n\"b\":", "Line 2, Column 5", "value, object or array expected"},
        {"truncated text", "{\n\"a\": \"b", "Line 2, Column 6", "Syntax error"},
        {"text behind the document", "{} x", "Line 1, Column 4", "Extra non-whitespace"},
        {"a second document", "{}\n{}", "Line 2, Column 1", "Extra non-whitespace"},
        {"forgotten comma", "{\"a\":1\n \"b\":2}", "Line 2, Column 2", "Missing ','"},
        {"a number out of range", "{\"a\":1e999}", "Line 1, Column 6", "is not a number"},
        {"NUL bytes of a lost write", std::string(16, '\0'), "Line 1, Column 1", "Syntax error"},
        {"nested beyond the parser's limit", std::string(100000, '['), "", "stackLimit"},
    };
    for (Row const& row : rows) {
        std::string const path = folder.write("file.json", row.content);
        EXPECT_THAT(failure([&] { jUtils::Load(path); }),
                    AllOf(HasSubstr(path), HasSubstr(row.place), HasSubstr(row.reason)))
            << row.guards;
    }
    EXPECT_THAT(failure([&] { jUtils::Load(folder.file("nosuch.json")); }),
                AllOf(HasSubstr(folder.file("nosuch.json")), HasSubstr("No such file")));
    EXPECT_THAT(failure([&] { jUtils::Load(folder.path()); }), HasSubstr(folder.path()));
}

TEST(JsonFile, ReadsWhatPeopleWrite) {
    TempFolder const folder;
    Json::Value const expected = json(R"({"имя": ["a", 1]})");
    for (std::string const content : {R"({"имя": ["a", 1]})", "\xEF\xBB\xBF{\"имя\": [\"a\", 1]}\r\n",
                                      "// a comment\n{\"имя\" : [\"a\" , 1] /* another */ }\n"}) {
        EXPECT_EQ(jUtils::Load(folder.write("file.json", content)), expected) << content;
    }
}

TEST(JsonText, ForeignTextNeverRaises) {
    Json::Value root;
    for (std::string const text : {"{\"a\":1}", "{\"a\":1} trailing", "5", "-1"}) {
        EXPECT_TRUE(jUtils::Parse(text, root)) << text;
    }
    for (std::string const& text :
         {std::string(), std::string("{\"a\":1,}"), std::string("{\"a\""), std::string(100000, '['),
          std::string("\xFF\xFE"), std::string("+1"), std::string("+0.5"), std::string("{\"a\":+1}")}) {
        EXPECT_FALSE(jUtils::Parse(text, root)) << text.substr(0, 20);
    }
}

TEST(JsonKey, AbsentAndNullGiveTheDefault) {
    for (char const* text : {"{}", R"({"k": null})", "[]", "5", "null", "\"k\""}) {
        Json::Value const node = json(text);
        EXPECT_FALSE(jUtils::has(node, "k")) << text;
        EXPECT_EQ(jUtils::get_string(node, "k", "d"), "d") << text;
        EXPECT_EQ(jUtils::get_int(node, "k", 7), 7) << text;
        EXPECT_EQ(jUtils::get_uint(node, "k", 7), 7U) << text;
        EXPECT_TRUE(jUtils::get_bool(node, "k", true)) << text;
        EXPECT_EQ(jUtils::get_double(node, "k", 1.5), 1.5) << text;
    }
}

TEST(JsonKey, WrongTypeNamesElementAndKey) {
    using Getter = void (*)(Json::Value const&);
    Getter const as_text = [](Json::Value const& node) { jUtils::get_string(node, "k", ""); };
    Getter const as_int = [](Json::Value const& node) { jUtils::get_int(node, "k", 0); };
    Getter const as_bool = [](Json::Value const& node) { jUtils::get_bool(node, "k", false); };
    Getter const as_double = [](Json::Value const& node) { jUtils::get_double(node, "k", 0); };
    struct Row {
        char const* value;
        bool text, integer, boolean, fraction;  // taken
    };
    Row const rows[] = {
        {"\"x\"", true, false, false, false},       {"5", true, true, true, true},
        {"true", true, true, true, true},           {"1.5", true, true, true, true},
        {"1e10", true, false, true, true},          {"-3000000000", true, false, true, true},
        {"{}", false, false, false, false},         {"[1]", false, false, false, false},
        {"{\"a\": 1}", false, false, false, false},
    };
    for (Row const& row : rows) {
        Json::Value const node = json(std::string(R"({"name": "pump", "k": )") + row.value + "}");
        for (auto const& [getter, taken] : {std::pair{as_text, row.text}, std::pair{as_int, row.integer},
                                            std::pair{as_bool, row.boolean}, std::pair{as_double, row.fraction}}) {
            std::string const text = failure([&, call = getter] { call(node); });
            if (taken) {
                EXPECT_EQ(text, "") << row.value;
            } else {
                EXPECT_THAT(text, AllOf(HasSubstr("pump"), HasSubstr("'k'"))) << row.value;
            }
        }
    }
    // The fault of an element that hasn't even a name.
    EXPECT_THAT(failure([] { jUtils::get_string(json(R"({"name": {}})"), "name", ""); }), HasSubstr("'name'"));
    EXPECT_EQ(jUtils::get_int(json(R"({"k": 2147483647})"), "k", 0), INT_MAX);
}
