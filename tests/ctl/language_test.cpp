#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/language/phrase.h"

namespace {

/// "%s of %d" to "%s", "%d".
std::vector<std::string> conversions(std::string const& text) {
    std::vector<std::string> result;
    for (size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at + 1)) {
        size_t const end = std::min(text.find_first_of("sdfugxc%", at + 1), text.size() - 1);
        result.push_back(text.substr(at, end - at + 1));
        at = end;
    }
    return result;
}

/// The arguments of one language would go into the conversions of the other; and of two rows the second isn't found.
TEST(Phrases, TakeTheSameArgumentsInBothLanguages) {
    std::vector<std::string> seen;
    for (phrases::Row const& row : phrases::table) {
        EXPECT_EQ(conversions(row.english), conversions(row.russian)) << row.english;
        EXPECT_EQ(std::count(seen.begin(), seen.end(), row.english), 0) << row.english;
        seen.emplace_back(row.english);
    }
}

TEST(Phrases, FollowTheLocaleUnlessTold) {
    setenv("LC_ALL", "", 1);
    setenv("LC_MESSAGES", "ru_RU.UTF-8", 1);
    setenv("LANG", "en_US.UTF-8", 1);
    language::choose("");
    EXPECT_EQ(say("%s: can't be read", std::string("a")), "a: не удалось прочитать");
    language::choose("en");
    EXPECT_EQ(say("%s: can't be read", std::string("a")), "a: can't be read");
    unsetenv("LC_ALL");
    unsetenv("LC_MESSAGES");
    unsetenv("LANG");
}

}  // namespace
