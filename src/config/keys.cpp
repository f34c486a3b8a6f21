#include "config/keys.h"

#include <algorithm>

#include "config/load_scope.h"
#include "foundation/xexception.h"

namespace keys {

int place_of(std::string const& text, std::span<char const* const> words) {
    auto const found = std::find(words.begin(), words.end(), text);
    return found == words.end() ? -1 : static_cast<int>(found - words.begin());
}

Tables operator+(Tables tables, std::span<Key const> own) {
    tables.push_back(own);
    return tables;
}

void read(std::span<Key const> table, xCommon::LogItem& node, Json::Value const& json) {
    for (Key const& key : table) {
        LoadScope::at_key(key.name);
        if (key.missing != nullptr && !xCommon::jUtils::has(json, key.name)) {
            throw xCommon::xExceptionf(xCommon::RuntimeFormat(key.missing), node.name);
        }
        if (key.value.read != nullptr) {
            key.value.read(node, json, key);
        }
    }
    LoadScope::at_key({});
}

void lay_over(std::span<Key const> table, xCommon::LogItem& node, Json::Value const& json) {
    for (Key const& key : table) {
        if (key.overlay == Overlay::taken && key.value.read != nullptr && xCommon::jUtils::has(json, key.name)) {
            LoadScope::at_key(key.name);
            key.value.read(node, json, key);
        }
    }
    LoadScope::at_key({});
}

unsigned int limited_number(xCommon::LogItem const& node, Json::Value const& json, Key const& key, double absent) {
    double const value = xCommon::jUtils::get_double(json, key.name, absent);
    if (value < key.least || value > key.most) {
        throw xCommon::xExceptionf("%s : недопустимое значение ключа '%s' : %.0f.", node.name, key.name, value);
    }
    return static_cast<unsigned int>(value);
}

}  // namespace keys
