#pragma once

#include <limits>
#include <span>
#include <string>
#include <type_traits>
#include <utility>

#include <json/value.h>

#include "config/cbase.h"
#include "config/utils.h"
#include "foundation/jutils.h"

/// The keys of the configuration. A class of nodes tells each of its keys once, as a row: its constructor and what is
/// laid over a parameter read by the rows, and the checker, the schema and the tables of the documentation are made of
/// them.
namespace keys {

enum class Type { text, integer, natural, number, flag, number_or_text, object, list };

/// Whether a device may change the key of a parameter that its template has.
enum class Overlay { taken, ignored };

/// Stands for the default of a key that a constructor asks for by itself.
inline constexpr char required[] = "!";
/// For rows that go on behind their words.
inline constexpr std::span<char const* const> any_text = {};
inline constexpr double unbounded = std::numeric_limits<double>::infinity();

struct Key;

/// What a key holds, and what puts it into its member; a key that is absent leaves that as it is. Null where a
/// constructor reads it in a way of its own.
struct Value {
    using Reader = void (*)(xCommon::LogItem& node, Json::Value const& json, Key const& key);

    // NOLINTNEXTLINE(google-explicit-constructor): most rows without a reader tell the type alone
    constexpr Value(Type held, Reader reader = nullptr) : type(held), read(reader) {}
    Type type;
    Reader read;
};

struct Key {
    char const* name;
    Value value;
    /// As the documentation shows it; null: the parent's value, "": none. Behind a "^" stands that of a port, where all
    /// below it have their parent's.
    char const* fallback;
    char const* english;
    char const* russian;
    Overlay overlay = Overlay::ignored;
    /// Of the exception for a key that is absent, with one "%s" for the node's name; null: it may be absent.
    char const* missing = nullptr;
    char const* unit = "";
    /// The texts that are taken; none: any.
    std::span<char const* const> words = {};
    double least = -unbounded;
    double most = unbounded;
    double step = 0;  ///< of which a number has to be a multiple; 0: none
};

/// Place of a text among words; -1 for one that is none of them.
int place_of(std::string const& text, std::span<char const* const> words);

/// The tables of a base, and those of a class of its own behind them.
Tables operator+(Tables tables, std::span<Key const> own);

/// For constructors: each key in its turn. Raises an xExceptionf for one that is required and absent, and what the
/// readers raise.
void read(std::span<Key const> table, xCommon::LogItem& node, Json::Value const& json);
/// For overlays: the keys that are present and may be changed.
void lay_over(std::span<Key const> table, xCommon::LogItem& node, Json::Value const& json);

unsigned int limited_number(xCommon::LogItem const& node, Json::Value const& json, Key const& key, double absent);

template <typename Node, typename Value>
Node node_of(Value Node::*);
template <auto Member>
auto& member(xCommon::LogItem& node) {
    return static_cast<decltype(node_of(Member))&>(node).*Member;
}

/// Values of the usual kinds, by the type of the member of a node's class. One that can't be taken raises an
/// xExceptionf.
template <auto Member>
inline constexpr Value of = [] {
    using Held = std::remove_reference_t<decltype(member<Member>(std::declval<xCommon::LogItem&>()))>;
    constexpr Type type = std::is_same_v<Held, std::string>    ? Type::text
                          : std::is_same_v<Held, bool>         ? Type::flag
                          : std::is_same_v<Held, unsigned int> ? Type::natural
                                                               : Type::integer;
    return Value(type, [](xCommon::LogItem& node, Json::Value const& json, Key const& key) {
        using xCommon::jUtils;
        Held& held = member<Member>(node);
        if constexpr (type == Type::text) {
            held = jUtils::get_string(json, key.name, held);
        } else if constexpr (type == Type::flag) {
            held = jUtils::get_bool(json, key.name, held);
        } else if constexpr (type == Type::natural) {
            held = jUtils::get_uint(json, key.name, held);
        } else {
            held = static_cast<Held>(jUtils::get_int(json, key.name, held));
        }
    });
}();
/// A number, or a text read as one, as Utils::jToInt() takes it.
template <auto Member>
inline constexpr Value code(Type::number_or_text, [](xCommon::LogItem& node, Json::Value const& json, Key const& key) {
    auto& held = member<Member>(node);
    if (xCommon::jUtils::has(json, key.name)) {
        held = static_cast<std::remove_reference_t<decltype(held)>>(Utils::jToInt(json[key.name]));
    }
});

/// A number of 0 or more within the limits of the row; of one beyond its member the low bytes count. Raises an
/// xExceptionf for one out of them.
template <auto Member>
inline constexpr Value limited(Type::integer, [](xCommon::LogItem& node, Json::Value const& json, Key const& key) {
    auto& held = member<Member>(node);
    held = static_cast<std::remove_reference_t<decltype(held)>>(limited_number(node, json, key, held));
});

}  // namespace keys
