#include "discovery/ids.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "foundation/sha256.h"
#include "foundation/xstring.h"

namespace ids {

namespace {

constexpr size_t hash_digits = 8;

/// Of the letters from а to я.
constexpr char const* latin[] = {"a",  "b",  "v",  "g",    "d", "e", "zh", "z", "i",  "y", "k",
                                 "l",  "m",  "n",  "o",    "p", "r", "s",  "t", "u",  "f", "kh",
                                 "ts", "ch", "sh", "shch", "",  "y", "",   "e", "yu", "ya"};
constexpr unsigned int first_upper = 0x410;
constexpr unsigned int first_lower = 0x430;
constexpr unsigned int behind_last = 0x450;
constexpr unsigned int upper_yo = 0x401;
constexpr unsigned int lower_yo = 0x451;

bool is_plain(char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '_' || letter == '-';
}

std::string raised(std::string text) {
    if (!text.empty()) {
        text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
    }
    return text;
}

/// A character of two bytes.
std::string transliterated(std::string_view bytes) {
    unsigned int const code =
        (static_cast<unsigned char>(bytes[0]) & 0x1FU) << 6U | (static_cast<unsigned char>(bytes[1]) & 0x3FU);
    if (code == upper_yo || code == lower_yo) {
        return code == upper_yo ? "Yo" : "yo";
    }
    if (code >= first_lower && code < behind_last) {
        return latin[code - first_lower];
    }
    return code >= first_upper && code < first_lower ? raised(latin[code - first_upper]) : "_";
}

std::string plain(std::string_view name) {
    std::string text;
    while (!name.empty()) {
        size_t const length = std::max<size_t>(xCommon::xString::utf8_length(name), 1);
        if (length == 2) {
            text += transliterated(name);
        } else {
            text.push_back(length == 1 && is_plain(name.front()) ? name.front() : '_');
        }
        name.remove_prefix(length);
    }
    return text;
}

std::string with_hash(std::string const& id, std::string const& name) {
    return id + "-" + xCommon::sha256(name).substr(0, hash_digits);
}

}  // namespace

std::string of(std::string const& name) {
    std::string const id = plain(name);
    return id == name ? id : with_hash(id, name);
}

std::string of(std::string const& device, std::string const& parameter) {
    std::string const id = plain(device) + "-" + plain(parameter);
    // One "-" alone shows where the parameter begins: "a-b" and "c" aren't "a" and "b-c".
    bool const is_clear = id == device + "-" + parameter && std::count(id.begin(), id.end(), '-') == 1;
    return is_clear ? id : with_hash(id, device + '\0' + parameter);
}

}  // namespace ids
