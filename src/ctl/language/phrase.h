#pragma once

#include <span>
#include <string>
#include <string_view>

#include "ctl/language/phrases.h"
#include "foundation/xstring.h"

/// The languages of the companion: its texts are written in English where they are used, and one table has the Russian
/// ones. A text without a row there doesn't compile.
namespace language {

/// "en", "ru", or empty: as the locale of the environment says. English until it is called.
void choose(std::string_view name);
bool is_russian();

}  // namespace language

class Phrase {
 public:
    // NOLINTNEXTLINE(google-explicit-constructor): stands where a text would
    consteval Phrase(char const* english) : row_(find(english)) {}

    constexpr char const* english() const { return row_->english; }
    std::string text() const { return language::is_russian() ? row_->russian : row_->english; }

 private:
    static consteval phrases::Row const* find(std::string_view english) {
        for (phrases::Row const& row : phrases::table) {
            if (english == row.english) {
                return &row;
            }
        }
        throw "a text without a row in ctl/language/phrases.h";
    }

    phrases::Row const* row_;
};

/// The text in the language in force, with its arguments as printf takes them.
template <typename... Args>
std::string say(Phrase phrase, Args const&... args) {
    if constexpr (sizeof...(args) == 0) {
        return phrase.text();
    } else {
        return xCommon::xString::Format(phrase.text(), args...);
    }
}
