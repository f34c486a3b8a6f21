#include "ctl/check/key_rows.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include <json/writer.h>

#include "ctl/language/phrase.h"
#include "foundation/xstring.h"

namespace key_rows {

namespace {

std::string number(double value) {
    return xCommon::xString::Format("%.15g", value);
}

std::string type_text(keys::Type type) {
    switch (type) {
        case keys::Type::text:
            return say("a text");
        case keys::Type::integer:
            return say("an integer");
        case keys::Type::natural:
            return say("an integer of 0 or more");
        case keys::Type::number:
            return say("a number");
        case keys::Type::flag:
            return say("true or false");
        case keys::Type::number_or_text:
            return say("an integer, or a text with one");
        case keys::Type::object:
            return say("an object");
        case keys::Type::list:
            return say("a list");
    }
    return {};
}

keys::Type whole(keys::Type type) {
    return type == keys::Type::natural ? keys::Type::integer : type;
}

bool has_type(keys::Type type, Json::Value const& value) {
    switch (type) {
        case keys::Type::text:
            return value.isString();
        case keys::Type::integer:
            return value.isInt();
        case keys::Type::natural:
            return value.isUInt();
        case keys::Type::number:
            return value.isNumeric();
        case keys::Type::flag:
            return value.isBool();
        case keys::Type::number_or_text:
            return value.isInt() || value.isString();
        case keys::Type::object:
            return value.isObject();
        case keys::Type::list:
            return value.isArray();
    }
    return false;
}

size_t distance(std::string_view one, std::string_view other) {
    std::vector<size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (size_t at = 0; at < one.size(); ++at) {
        size_t corner = row[0]++;
        for (size_t to = 0; to < other.size(); ++to) {
            size_t const changed = corner + (one[at] == other[to] ? 0 : 1);
            corner = row[to + 1];
            row[to + 1] = std::min({changed, row[to] + 1, row[to + 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

keys::Tables const& tables(std::string const& class_key) {
    static keys::Tables const none;
    auto const found = CBFac::key_map().find(class_key);
    return found == CBFac::key_map().end() ? none : found->second;
}

keys::Key const* find(std::string const& class_key, std::string_view key) {
    keys::Key const* result = nullptr;
    for (auto const& table : tables(class_key)) {
        for (keys::Key const& row : table) {
            result = row.name == key ? &row : result;  // a class's own stand behind its base's
        }
    }
    return result;
}

bool is_known(std::string_view key) {
    auto const& map = CBFac::key_map();
    return std::any_of(map.begin(), map.end(), [key](auto const& entry) { return find(entry.first, key) != nullptr; });
}

bool fits(keys::Key const& key, Json::Value const& value) {
    if (!has_type(key.value.type, value)) {
        return false;
    }
    if (value.isNumeric() && !(value.asDouble() >= key.least && value.asDouble() <= key.most)) {
        return false;
    }
    if (value.isNumeric() && key.step > 0 && std::fmod(value.asDouble(), key.step) != 0) {
        return false;
    }
    return key.words.empty() || !value.isString() || keys::place_of(value.asString(), key.words) >= 0;
}

std::string meaning(keys::Key const& key) {
    // The documentation marks what is to be typed.
    return xCommon::xString::Replace(language::is_russian() ? key.russian : key.english, "`", "");
}

std::string allowed(keys::Key const& key) {
    if (!key.words.empty()) {
        std::string words;
        for (char const* const word : key.words) {
            words += *word == '\0' ? "" : (words.empty() ? "" : ", ") + std::string(word);
        }
        return say("one of %s", words);
    }
    // Its own limit tells more than that of its type.
    std::string const type = type_text(std::isfinite(key.least) ? whole(key.value.type) : key.value.type);
    if (std::isfinite(key.least) && std::isfinite(key.most)) {
        std::string const text = say("%s from %s to %s", type, number(key.least), number(key.most));
        return key.step > 0 ? say("%s in steps of %s", text, number(key.step)) : text;
    }
    if (std::isfinite(key.least)) {
        return say("%s, at least %s", type, number(key.least));
    }
    return std::isfinite(key.most) ? say("%s, at most %s", type, number(key.most)) : type;
}

std::string nearest(std::string_view text, std::vector<std::string> const& words) {
    std::string best;
    // A third of the letters may be wrong.
    size_t least = std::max<size_t>(text.size() / 3, 1) + 1;
    for (std::string const& word : words) {
        size_t const far = distance(text, word);
        if (far < least) {
            least = far;
            best = word;
        }
    }
    return best;
}

std::string shown(Json::Value const& value) {
    constexpr size_t limit = 60;
    Json::StreamWriterBuilder style;
    style["indentation"] = "";
    style["emitUTF8"] = true;
    style["precision"] = 15;
    return xCommon::xString::Shown(Json::writeString(style, value), limit);
}

}  // namespace key_rows
