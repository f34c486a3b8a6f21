#include "ctl/schema/schema.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

#include "config/constants.h"
#include "config/cport.h"
#include "ctl/check/key_rows.h"
#include "ctl/language/phrase.h"
#include "drivers/z2t_tasmota/config.h"
#include "foundation/jutils.h"

namespace {

constexpr char dialect[] = "https://json-schema.org/draft/2020-12/schema";
/// A parameter of a DCON device has to state its type: without one it is one of Modbus.
constexpr char dcon_default[] = "mb-rtu";
/// Suffix of a parameter that may be laid over one of a template: nothing of it is required.
constexpr char overlay[] = ".overlay";

Json::Value json_of(char const* text) {
    Json::Value value;
    return xCommon::jUtils::Parse(text, value) ? value : Json::Value(text);
}

Json::Value reference(std::string const& name) {
    Json::Value schema;
    schema["$ref"] = "#/$defs/" + name;
    return schema;
}

/// The key keeps what is told of it.
void refer(Json::Value& property, std::string const& name) {
    Json::Value const description = property["description"];
    property = reference(name);
    property["description"] = description;
}

Json::Value array_of(Json::Value const& items, int least) {
    Json::Value schema;
    schema["type"] = "array";
    schema["items"] = items;
    if (least > 0) {
        schema["minItems"] = least;
    }
    return schema;
}

/// {"properties": {key: {word: value}}, "required": [key]}: a condition on a key that is there.
Json::Value where(char const* key, char const* word, Json::Value const& value) {
    Json::Value schema;
    schema["properties"][key][word] = value;
    schema["required"].append(key);
    return schema;
}

Json::Value needs(char const* key) {
    Json::Value schema;
    schema["required"].append(key);
    return schema;
}

void add_condition(Json::Value& schema, Json::Value const& condition, Json::Value const& then) {
    Json::Value row;
    row["if"] = condition;
    row["then"] = then;
    schema["allOf"].append(row);
}

std::string text_of_fallback(keys::Key const& key) {
    if (key.fallback == nullptr || key.fallback == keys::required) {
        return {};
    }
    return *key.fallback == '^' ? key.fallback + 1 : key.fallback;
}

void add_type(Json::Value& schema, keys::Key const& key) {
    switch (key.value.type) {
        case keys::Type::text:
            schema["type"] = "string";
            break;
        case keys::Type::integer:
            schema["type"] = "integer";
            schema["minimum"] = std::numeric_limits<int>::min();
            schema["maximum"] = std::numeric_limits<int>::max();
            break;
        case keys::Type::natural:
            schema["type"] = "integer";
            schema["minimum"] = 0;
            schema["maximum"] = std::numeric_limits<unsigned int>::max();
            break;
        case keys::Type::number:
            schema["type"] = "number";
            break;
        case keys::Type::flag:
            schema["type"] = "boolean";
            break;
        case keys::Type::number_or_text:
            schema["type"].append("integer");
            schema["type"].append("string");
            break;
        case keys::Type::object:
            schema["type"] = "object";
            break;
        case keys::Type::list:
            schema["type"] = "array";
            break;
    }
}

bool is_required(keys::Key const& key) {
    return key.missing != nullptr || key.fallback == keys::required;
}

/// What a value of the key may be.
Json::Value property(keys::Key const& key) {
    Json::Value schema;
    add_type(schema, key);
    schema["description"] = key_rows::meaning(key) + (*key.unit == '\0' ? "" : std::string(", ") + key.unit);
    std::string const fallback = text_of_fallback(key);
    if (!fallback.empty()) {
        schema["default"] = key.value.type == keys::Type::text ? Json::Value(fallback) : json_of(fallback.c_str());
    }
    for (char const* const word : key.words) {
        schema["enum"].append(word);
    }
    if (std::isfinite(key.least)) {
        schema["minimum"] = key.least;
    }
    if (std::isfinite(key.most)) {
        schema["maximum"] = key.most;
    }
    if (key.step > 0) {
        schema["multipleOf"] = key.step;
    }
    if (is_required(key) && key.value.type == keys::Type::text) {
        schema["minLength"] = 1;
    }
    return schema;
}

/// The class with its keys. `whole` asks for what is required.
Json::Value object_of(keys::Tables const& tables, bool whole) {
    Json::Value schema;
    schema["type"] = "object";
    std::set<std::string> required;
    for (auto const& table : tables) {
        for (keys::Key const& key : table) {
            schema["properties"][key.name] = property(key);
            if (is_required(key)) {
                required.insert(key.name);
            }
        }
    }
    for (std::string const& key : required) {
        if (whole || key == "name") {
            schema["required"].append(key);
        }
    }
    return schema;
}

std::vector<std::string> words_of(std::string const& suffix) {
    std::vector<std::string> words;
    for (auto const& [key, tables] : CBFac::key_map()) {
        if (key.ends_with(suffix)) {
            words.push_back(key.substr(0, key.size() - suffix.size()));
        }
    }
    return words;
}

/// A word with the same keys ahead of it, or itself: models of a family differ in nothing here.
std::string model_of(std::string const& word, std::string const& suffix) {
    auto const is_same = [](keys::Tables const& one, keys::Tables const& other) {
        return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                          [](auto const& left, auto const& right) { return left.data() == right.data(); });
    };
    if (suffix == suffix_cport) {
        return word;  // what a port needs depends on its word
    }
    std::string const family = word.substr(0, 4);
    for (std::string const& other : words_of(suffix)) {
        if (other.starts_with(family) && is_same(key_rows::tables(other + suffix), key_rows::tables(word + suffix))) {
            return other;
        }
    }
    return word;
}

/// An element by the word of its type, if it has one.
Json::Value by_type(std::string const& suffix, std::string const& kind) {
    Json::Value schema;
    schema["type"] = "object";
    for (std::string const& word : words_of(suffix)) {
        schema["properties"]["type"]["enum"].append(word);
        add_condition(schema, where("type", "const", word), reference(model_of(word, suffix) + kind));
    }
    return schema;
}

/// An element of a list: `list` is the definition for those that have a type, `fallback` that of one without; empty:
/// it has to have one.
Json::Value element(std::string const& list, std::string const& fallback) {
    Json::Value schema = reference(list);
    if (fallback.empty()) {
        schema["required"].append("type");
    } else {
        schema["if"]["not"] = needs("type");
        schema["then"] = reference(fallback);
    }
    return schema;
}

class Definitions {
 public:
    Definitions() {
        for (char const* name : {"rs", "tcp", "mqtt", "log"}) {
            defs_[name] = object_of(key_rows::tables(name), false);
            defs_[name].removeMember("required");
        }
        for (char const* name : {"tcp", "mqtt"}) {
            defs_[name]["minProperties"] = 1;
        }
        for (char const* name : {"tls", "discovery"}) {
            std::string const description = defs_["mqtt"]["properties"][name]["description"].asString();
            defs_["mqtt"]["properties"][name] = object_of(key_rows::tables(std::string("mqtt.") + name), true);
            defs_["mqtt"]["properties"][name]["description"] = description;
        }
        defs_["bit"] = object_of(key_rows::tables("bh_list"), true);
        for (std::string const& word : words_of(suffix_cparam)) {
            if (model_of(word, suffix_cparam) == word) {
                defs_[word + suffix_cparam] = parameter(word, true);
                defs_[word + overlay] = parameter(word, false);
            }
        }
        defs_["parameter"] = by_type(suffix_cparam, suffix_cparam);
        defs_["overlay"] = by_type(suffix_cparam, overlay);
    }

    void add_devices() {
        for (std::string const& word : words_of(suffix_cdev)) {
            if (model_of(word, suffix_cdev) == word) {
                defs_[word + suffix_cdev] = device(word);
            }
        }
        defs_["device"] = by_type(suffix_cdev, suffix_cdev);
        for (std::string const& word : words_of(suffix_cport)) {
            defs_[word + suffix_cport] = port(word);
        }
    }

    Json::Value const& all() const { return defs_; }

 private:
    static Json::Value parameter(std::string const& word, bool whole) {
        std::string const class_key = word + suffix_cparam;
        Json::Value schema = object_of(key_rows::tables(class_key), whole);
        Json::Value& properties = schema["properties"];
        if (properties.isMember("bh_list")) {
            properties["bh_list"]["items"] = reference("bit");
            properties["bh_list"]["minItems"] = 1;
        }
        if (properties.isMember("object_id") && word == "dlms") {
            properties["object_id"]["pattern"] = "^(\\d+\\.){5}\\d+$";
        }
        if (whole) {
            add_conditions(schema, word);
        }
        return schema;
    }

    /// What is required of some kinds alone.
    static void add_conditions(Json::Value& schema, std::string const& word) {
        if (word == "dcon") {
            for (int const command : {1, 9, 10, 13, 15, 21}) {
                schema["properties"]["cmd"]["enum"].append(command);
            }
            for (int const command : {13, 21}) {
                add_condition(schema, where("cmd", "const", command), needs("bh_list"));
            }
            Json::Value one_character = where("channel", "minLength", 1);
            one_character["properties"]["channel"]["maxLength"] = 1;
            add_condition(schema, where("cmd", "const", 9), one_character);
        } else if (schema["properties"].isMember("bh_list")) {
            for (char const* kind : {"holding-bit", "input-bit"}) {
                add_condition(schema, where("reg_type", "const", kind), needs("bh_list"));
            }
        }
    }

    static Json::Value device(std::string const& word) {
        Json::Value schema = object_of(key_rows::tables(word + suffix_cdev), true);
        refer(schema["properties"]["rs"], "rs");
        std::string const fallback = word == "dcon" ? dcon_default : word;
        Json::Value overlaid;
        overlaid["properties"]["params"] = array_of(element("overlay", fallback + overlay), 0);
        Json::Value plain;
        plain["properties"]["params"] = array_of(element("parameter", fallback + suffix_cparam), 0);
        if (word.starts_with("pulsar")) {
            schema["allOf"].append(plain);  // it takes no templates
            schema["required"].append("params");
            schema["properties"]["params"]["minItems"] = 1;
            return schema;
        }
        Json::Value row;
        row["if"] = where("templ", "minLength", 1);
        row["then"] = overlaid;
        row["else"] = plain;
        if (word != "z2t") {
            row["else"]["required"].append("params");
            row["else"]["properties"]["params"]["minItems"] = 1;
        }
        schema["allOf"].append(row);
        return schema;
    }

    /// Without a device that stands for the bridge each needs parameters.
    static Json::Value without_bridge() {
        Json::Value row;
        row["if"]["properties"]["devices"]["contains"] = where("cname", "const", z2t_tasmota::bridge_cname);
        Json::Value& device = row["else"]["properties"]["devices"]["items"];
        device["if"] = where("templ", "minLength", 1);
        device["else"] = needs("params");
        device["else"]["properties"]["params"]["minItems"] = 1;
        return row;
    }

    static Json::Value port(std::string const& word) {
        Json::Value schema = object_of(key_rows::tables(word + suffix_cport), true);
        Json::Value& properties = schema["properties"];
        bool const is_base = word.starts_with("base");
        std::string const own_device = is_base ? "" : word.substr(0, word.find('.')) + suffix_cdev;
        std::string const description = properties["devices"]["description"].asString();
        properties["devices"] = array_of(element("device", own_device), 1);
        properties["devices"]["description"] = description;
        refer(properties["rs"], "rs");
        refer(properties["tcp"], "tcp");
        if (word.find("rs") != std::string::npos) {
            properties["rs"]["required"].append("path");
            properties["rs"]["properties"]["path"]["minLength"] = 1;
            schema["required"].append("rs");
        } else if (word.find("z2t") != std::string::npos) {
            properties["zigbee"]["properties"]["address"]["minLength"] = 1;
            properties["zigbee"]["required"].append("address");
            schema["required"].append("zigbee");
            schema["allOf"].append(without_bridge());
        }
        return schema;
    }

    Json::Value defs_;
};

Json::Value headed(std::string const& title) {
    Json::Value schema;
    schema["$schema"] = dialect;
    schema["title"] = title;
    schema["type"] = "object";
    return schema;
}

}  // namespace

Json::Value configuration_schema() {
    Definitions definitions;
    definitions.add_devices();
    Json::Value schema = headed(say("configuration of ostrand"));
    Json::Value const root = object_of(key_rows::tables("root"), true);
    schema["properties"] = root["properties"];
    schema["required"] = root["required"];
    schema["properties"]["$schema"]["type"] = "string";
    refer(schema["properties"]["mqtt"], "mqtt");
    refer(schema["properties"]["log"], "log");
    Json::Value either;
    either["type"] = "object";
    either["if"] = needs("connection");
    either["then"] = true;
    either["else"] = by_type(suffix_cport, suffix_cport);
    either["else"]["required"].append("type");
    schema["properties"]["ports"] = array_of(either, 1);
    schema["$defs"] = definitions.all();
    return schema;
}

Json::Value template_schema() {
    Definitions const definitions;
    Json::Value schema = headed(say("template of ostrand"));
    schema["properties"]["$schema"]["type"] = "string";
    schema["properties"]["name"]["type"] = "string";
    schema["properties"]["name"]["minLength"] = 1;
    schema["properties"]["name"]["description"] = say("the name of the file, without .json");
    schema["required"].append("name");
    schema["required"].append("params");
    // A parameter without a type is of the device's, which the template doesn't know.
    Json::Value any;
    for (std::string const& word : words_of(suffix_cparam)) {
        if (model_of(word, suffix_cparam) == word) {
            any["anyOf"].append(reference(word + suffix_cparam));
        }
    }
    Json::Value either;
    either["if"] = needs("type");
    either["then"] = reference("parameter");
    either["else"] = any;
    schema["properties"]["params"] = array_of(either, 1);
    schema["$defs"] = definitions.all();
    return schema;
}
