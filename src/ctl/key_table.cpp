#include "ctl/key_table.h"

#include <algorithm>
#include <map>

#include "config/cparam.h"
#include "config/cport.h"
#include "config/keys.h"
#include "foundation/xstring.h"

namespace {

struct Words {
    char const* types[8];
    char const* head;
    char const* required;
    char const* inherited;
    char const* of_port;
    char const* one_of;
};

constexpr Words english = {
    {"string", "integer", "integer, 0 or more", "number", "bool", "integer or string", "object", "array"},
    "| Key | Type | Default | Meaning |",
    "required",
    "of the node above",
    "; of a port `%s`",
    "one of",
};
constexpr Words russian_words = {
    {"строка", "целое", "целое от 0", "число", "логическое", "целое или строка", "объект", "массив"},
    "| Ключ | Тип | Умолчание | Значение |",
    "обязателен",
    "от узла выше",
    "; у порта `%s`",
    "одно из",
};

keys::Tables tables_of(std::string const& key) {
    if (key == "cbase") {
        return CBase::key_tables();
    }
    std::map<std::string, keys::Tables> const nodes = {
        {"cport", CPort::key_tables()}, {"cdev", CDev::key_tables()}, {"cparam", CParam::key_tables()}};
    auto const node = nodes.find(key);
    keys::Tables own = node != nodes.end() ? node->second : CBFac::key_map().at(key);
    keys::Tables common = CBase::key_tables();
    if (node == nodes.end()) {
        for (auto const& [name, tables] : nodes) {
            common.insert(common.end(), tables.begin(), tables.end());
        }
    }
    std::erase_if(own, [&common](auto const& table) {
        return std::any_of(common.begin(), common.end(),
                           [&table](auto const& other) { return other.data() == table.data(); });
    });
    return own;
}

std::string row(keys::Key const& key, bool russian) {
    Words const& words = russian ? russian_words : english;
    std::string type = words.types[static_cast<size_t>(key.value.type)];
    if (*key.unit != '\0') {
        type += std::string(", ") + key.unit;
    }
    std::string fallback;
    if (key.missing != nullptr || key.fallback == keys::required) {
        fallback = words.required;
    } else if (key.fallback == nullptr || *key.fallback == '^') {
        fallback = words.inherited;
        if (key.fallback != nullptr && key.fallback[1] != '\0') {
            fallback += xCommon::xString::Format(words.of_port, key.fallback + 1);
        }
    } else if (*key.fallback != '\0') {
        fallback = std::string("`") + key.fallback + "`";
    }
    std::string text = russian ? key.russian : key.english;
    if (!key.words.empty() && text.find(key.words.front()) == std::string::npos) {
        text += std::string("; ") + words.one_of;
        for (char const* const word : key.words) {
            text += *word == '\0' ? "" : std::string(word == key.words.front() ? " `" : ", `") + word + "`";
        }
    }
    return xCommon::xString::Format("| `%s` | %s | %s | %s |\n", key.name, type, fallback, text);
}

}  // namespace

std::string key_table(std::string const& key, bool russian) {
    std::string text = std::string(russian ? russian_words.head : english.head) + "\n|---|---|---|---|\n";
    for (auto const& table : tables_of(key)) {
        for (keys::Key const& entry : table) {
            text += row(entry, russian);
        }
    }
    return text;
}
