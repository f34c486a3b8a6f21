#include "foundation/jutils.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

#include <json/reader.h>
#include <json/writer.h>

#include "foundation/xexception.h"

namespace xCommon {

namespace {

/// The name by which a person finds a node in the file, as far as it has one.
std::string label(Json::Value const& node) {
    Json::Value const& name = jUtils::at(node, "name");
    return name.isString() ? name.asString() : std::string("?");
}

template <typename T, typename Convert>
T get(Json::Value const& node, char const* key, T const& fallback, Convert convert) {
    Json::Value const& value = jUtils::at(node, key);
    if (value.isNull()) {
        return fallback;
    }
    try {
        return convert(value);
    } catch (std::exception const& e) {
        throw xExceptionf("%s : недопустимое значение ключа '%s' : %s", label(node), key, e.what());
    }
}

}  // namespace

bool jUtils::parse_file(std::string const& text, Json::Value& root, std::string& errors, bool each_key_once) {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    builder["failIfExtra"] = true;
    builder["allowTrailingCommas"] = true;
    builder["skipBom"] = true;
    builder["rejectDupKeys"] = each_key_once;
    std::unique_ptr<Json::CharReader> const reader(builder.newCharReader());
    try {
        return reader->parse(text.data(), text.data() + text.size(), &root, &errors);
    } catch (std::exception const& e) {
        errors = e.what();  // nested deeper than the parser goes
        return false;
    }
}

Json::Value jUtils::Load(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw xExceptionf("%s : не удалось открыть файл : %s.", path, std::strerror(errno));
    }
    // A folder opens as a file and fails at the first read.
    file.peek();
    if (file.bad()) {
        throw xExceptionf("%s : не удалось прочитать файл.", path);
    }
    std::ostringstream content;
    content << file.rdbuf();
    return ParseFile(path, content.str());
}

Json::Value jUtils::ParseFile(std::string const& path, std::string const& text) {
    if (text.empty()) {
        throw xExceptionf("%s : файл пуст или не читается.", path);
    }

    Json::Value root;
    std::string errors;
    if (!parse_file(text, root, errors)) {
        throw xExceptionf("%s : ошибка разбора JSON : %s", path, errors);
    }
    return root;
}

bool jUtils::Parse(std::string const& text, Json::Value& root) {
    // The plain reader of old, which takes no sign in front of a positive number and lets a message go on behind its
    // value: what counts as JSON decides how a message is handled.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader reader;
#pragma GCC diagnostic pop
    try {
        return reader.parse(text, root, false);
    } catch (std::exception const&) {
        return false;  // nested deeper than the parser goes
    }
}

Json::Value const& jUtils::at(Json::Value const& node, char const* key) {
    return node.isObject() ? node[key] : Json::Value::nullSingleton();
}

std::string jUtils::Compact(Json::Value const& value) {
    Json::StreamWriterBuilder style;
    style["indentation"] = "";
    style["emitUTF8"] = true;
    style["precision"] = 15;
    return Json::writeString(style, value);
}

bool jUtils::has(Json::Value const& node, char const* key) {
    return !at(node, key).isNull();
}

std::string jUtils::get_string(Json::Value const& node, char const* key, std::string const& fallback) {
    return get(node, key, fallback, [](Json::Value const& value) { return value.asString(); });
}

int jUtils::get_int(Json::Value const& node, char const* key, int fallback) {
    return get(node, key, fallback, [](Json::Value const& value) { return value.asInt(); });
}

unsigned int jUtils::get_uint(Json::Value const& node, char const* key, unsigned int fallback) {
    return get(node, key, fallback, [](Json::Value const& value) { return value.asUInt(); });
}

bool jUtils::get_bool(Json::Value const& node, char const* key, bool fallback) {
    return get(node, key, fallback, [](Json::Value const& value) { return value.asBool(); });
}

double jUtils::get_double(Json::Value const& node, char const* key, double fallback) {
    return get(node, key, fallback, [](Json::Value const& value) { return value.asDouble(); });
}

}  // namespace xCommon
