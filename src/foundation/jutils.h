#pragma once

#include <string>

#include <json/value.h>

namespace xCommon {

/// Reading of JSON files, and of single keys from a node. A key that is absent or null gives the default; a value of a
/// type that can't be taken raises an xExceptionf that names the element and the key.
class jUtils {
 public:
    /// Reads and parses a file. Raises an xExceptionf with the path and the reason, and the position where it is known.
    static Json::Value Load(std::string const& path);
    /// The same of what stands in the file.
    static Json::Value ParseFile(std::string const& path, std::string const& text);
    /// It has to end with its value, and may begin with a byte order mark and have a comma too many. False with what is
    /// wrong, and where.
    static bool parse_file(std::string const& text, Json::Value& root, std::string& errors, bool each_key_once = false);

    /// Parses a text that came from outside, whose rest behind the value is ignored. False, never an exception, when it
    /// is no JSON.
    static bool Parse(std::string const& text, Json::Value& root);

    /// On one line without blanks, its letters as they are.
    static std::string Compact(Json::Value const& value);

    /// True when the node is an object with that key, and the value isn't null.
    static bool has(Json::Value const& node, char const* key);
    static std::string get_string(Json::Value const& node, char const* key, std::string const& fallback);
    static int get_int(Json::Value const& node, char const* key, int fallback);
    static unsigned int get_uint(Json::Value const& node, char const* key, unsigned int fallback);
    static bool get_bool(Json::Value const& node, char const* key, bool fallback);
    static double get_double(Json::Value const& node, char const* key, double fallback);
    /// The value under the key, null when there is none.
    static Json::Value const& at(Json::Value const& node, char const* key);
};

}  // namespace xCommon
