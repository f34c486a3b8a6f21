#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <json/value.h>

/// There is nothing to look at: no file, a folder, no rights, or more than any configuration has.
class UnreadableFile : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A file of JSON with the places of its values: configurations and templates.
class Document {
 public:
    /// From 1; columns count characters.
    struct Position {
        size_t line = 1;
        size_t column = 1;
    };

    /// Reads as the daemon does. Raises UnreadableFile. One that is no JSON has a fault() and an empty root.
    explicit Document(std::string path);

    std::string const& path() const { return path_; }
    Json::Value const& root() const { return root_; }
    std::string const& fault() const { return fault_; }
    /// What the daemon's log says of it.
    std::string const& fault_line() const { return fault_line_; }
    Position fault_position() const { return fault_position_; }

    /// The object whose text begins there, or the one around; null for the root and for what isn't in the file.
    Json::Value const* element(ptrdiff_t offset) const;
    /// The object whose list holds that one; null for what stands in no list.
    Json::Value const* owner(ptrdiff_t offset) const;
    /// How a person finds the object, as `ports "line1" › devices "boiler" › params "t"`; empty for the root.
    std::string path_to(ptrdiff_t offset) const;
    /// Of a key's name in an object, "rs.parity" for one in an object below; of the object if the key isn't there.
    Position position(ptrdiff_t offset, std::string const& key) const;

    /// Of the first byte that is no UTF-8.
    std::optional<Position> not_utf8() const;
    struct Twice {
        std::string key;
        Position position;
    };
    /// The first key that stands in its object already, which parsers pass over.
    std::optional<Twice> key_twice() const;

    /// Files from this size on aren't read.
    static constexpr size_t size_limit = size_t{100} * 1024 * 1024;

 private:
    struct Step {
        std::string list;
        Json::ArrayIndex index;
        Json::Value const* element;
        Json::Value const* owner;  ///< of the list
    };
    std::vector<Step> steps_to(ptrdiff_t offset) const;
    size_t place_of(ptrdiff_t offset) const;
    size_t characters_to(size_t place) const;
    Position position_of(size_t place) const;
    Position position_of(std::string const& line, std::string const& column) const;
    void read_fault(std::string const& text);

    std::string path_;
    std::string text_;
    std::vector<size_t> line_starts_;
    /// Ahead of each so many bytes, so that long lines aren't counted from their beginning.
    static constexpr size_t counted_bytes = 1024;
    std::vector<size_t> characters_;
    size_t mark_ = 0;  ///< bytes of a byte order mark, which places don't count
    Json::Value root_;
    std::string fault_;
    std::string fault_line_;
    Position fault_position_;
};
