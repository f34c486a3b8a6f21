#include <climits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/jutils.h"
#include "support/sample_config.h"
#include "support/temp_folder.h"

using sample::json;
using testing::AllOf;
using testing::HasSubstr;
using xCommon::jUtils;

namespace {

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
    std::tuple<char const*, std::string, char const*, char const*> const rows[] = {
        {"empty file", "", ".json : ", "файл пуст или не читается."},
        {"white space alone", " \n", "Line 2, Column 1", "value, object or array expected"},
        {"not even text", "\xFF", "file.json : ошибка разбора JSON : ", "Line 1, Column 1"},
        {"truncated", "{\"a\":1,\n\"b\":", "Line 2, Column 5", "value, object or array expected"},
        {"truncated text", "{\n\"a\": \"b", "Line 2, Column 6", "Syntax error"},
        {"text behind the document", "{} x", "Line 1, Column 4", "Extra non-whitespace"},
        {"a second document", "{}\n{}", "Line 2, Column 1", "Extra non-whitespace"},
        {"forgotten comma", "{\"a\":1\n \"b\":2}", "Line 2, Column 2", "Missing ','"},
        {"a number out of range", "{\"a\":1e999}", "Line 1, Column 6", "is not a number"},
        {"NUL bytes of a lost write", std::string(16, '\0'), "Line 1, Column 1", "Syntax error"},
        {"nested beyond the parser's limit", std::string(100000, '['), "", "stackLimit"},
    };
    for (auto const& [guards, content, place, reason] : rows) {
        std::string const path = folder.write("file.json", content);
        EXPECT_THAT(failure([&] { jUtils::Load(path); }), AllOf(HasSubstr(path), HasSubstr(place), HasSubstr(reason)))
            << guards;
    }
    EXPECT_EQ(failure([&] { jUtils::Load(folder.file("nosuch.json")); }),
              folder.file("nosuch.json") + " : не удалось открыть файл : No such file or directory.");
    EXPECT_EQ(failure([&] { jUtils::Load(folder.path()); }), folder.path() + " : не удалось прочитать файл.");
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
    // The value, and the getters that take it : text, integer, boolean, fraction.
    std::pair<char const*, char const*> const rows[] = {
        {"\"x\"", "t"}, {"5", "tibf"},          {"true", "tibf"}, {"1.5", "tibf"},    {"1e10", "tbf"},
        {"{}", ""},     {"-3000000000", "tbf"}, {"[1]", ""},      {"{\"a\": 1}", ""},
    };
    for (auto const& [value, takers] : rows) {
        Json::Value const node = json(std::string(R"({"name": "pump", "k": )") + value + "}");
        for (char const getter : {'t', 'i', 'b', 'f'}) {
            std::string const text = failure([&, asked = getter] {
                asked == 't'   ? void(jUtils::get_string(node, "k", ""))
                : asked == 'i' ? void(jUtils::get_int(node, "k", 0))
                : asked == 'b' ? void(jUtils::get_bool(node, "k", false))
                               : void(jUtils::get_double(node, "k", 0));
            });
            bool const tells = text.find("pump") != std::string::npos && text.find("'k'") != std::string::npos;
            bool const taken = std::string(takers).find(getter) != std::string::npos;
            EXPECT_TRUE(taken ? text.empty() : tells) << value << ' ' << getter << ' ' << text;
        }
    }
    // The fault of an element that hasn't even a name.
    EXPECT_THAT(failure([] { jUtils::get_string(json(R"({"name": {}})"), "name", ""); }), HasSubstr("'name'"));
    EXPECT_EQ(jUtils::get_int(json(R"({"k": 2147483647})"), "k", 0), INT_MAX);
}
