#pragma once

#include <limits>
#include <span>
#include <type_traits>

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

struct Key {
    char const* name;
    Type type;
    /// Puts the value into its member; a key that is absent leaves that as it is. Null where a constructor reads it in
    /// a way of its own.
    void (*read)(xCommon::LogItem& node, Json::Value const& json, Key const& key);
    /// As the documentation shows it; null: the parent's value, "": none.
    char const* fallback;
    char const* english;
    char const* russian;
    Overlay overlay = Overlay::ignored;
    /// Of the exception for a key that is absent, with one "%s" for the node's name; null: it may be absent.
    char const* missing = nullptr;
    char const* unit = "";
    /// The texts that are taken; none: any.
    std::span<char const* const> words = {};
    double least = -std::numeric_limits<double>::infinity();
    double most = std::numeric_limits<double>::infinity();
};

/// The tables of a base, and those of a class of its own behind them.
Tables operator+(Tables tables, std::span<Key const> own);

/// For constructors: each key in its turn. Raises an xExceptionf for one that is required and absent, and what the
/// readers raise.
void read(std::span<Key const> table, xCommon::LogItem& node, Json::Value const& json);
/// For overlays: the keys that are present and may be changed.
void lay_over(std::span<Key const> table, xCommon::LogItem& node, Json::Value const& json);

template <typename Node, typename Value>
Node node_of(Value Node::*);
template <auto Member>
auto& member(xCommon::LogItem& node) {
    return static_cast<decltype(node_of(Member))&>(node).*Member;
}

/// Readers of the usual kinds, for a member of a node's class. A value of a type that can't be taken raises an
/// xExceptionf.
template <auto Member>
void text(xCommon::LogItem& node, Json::Value const& json, Key const& key) {
    member<Member>(node) = xCommon::jUtils::get_string(json, key.name, member<Member>(node));
}
template <auto Member>
void integer(xCommon::LogItem& node, Json::Value const& json, Key const& key) {
    member<Member>(node) = xCommon::jUtils::get_int(json, key.name, member<Member>(node));
}
template <auto Member>
void natural(xCommon::LogItem& node, Json::Value const& json, Key const& key) {
    member<Member>(node) = xCommon::jUtils::get_uint(json, key.name, member<Member>(node));
}
template <auto Member>
void flag(xCommon::LogItem& node, Json::Value const& json, Key const& key) {
    member<Member>(node) = xCommon::jUtils::get_bool(json, key.name, member<Member>(node));
}
/// A number, or a text read as one, as Utils::jToInt() takes it.
template <auto Member>
void code(xCommon::LogItem& node, Json::Value const& json, Key const& key) {
    if (xCommon::jUtils::has(json, key.name)) {
        auto& value = member<Member>(node);
        value = static_cast<std::remove_reference_t<decltype(value)>>(Utils::jToInt(json[key.name]));
    }
}

}  // namespace keys
