#include "ctl/check/document.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <regex>
#include <span>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "ctl/json_text.h"
#include "ctl/language/phrase.h"
#include "foundation/jutils.h"
#include "foundation/xlog.h"

using xCommon::jUtils;
using xCommon::xString;

namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

/// A file as it comes, a pipe too, but not one whose other end nobody has: that would be waited for without end.
class InputFile {
 public:
    explicit InputFile(std::string const& path) : file_(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {}
    ~InputFile() {
        if (is_open()) {
            close(file_);
        }
    }
    InputFile(InputFile const&) = delete;
    InputFile& operator=(InputFile const&) = delete;

    bool is_open() const { return file_ >= 0; }
    /// As read(), waiting for what the other end of a pipe has yet to write.
    ssize_t read(std::span<char> target) const {
        ssize_t got = 0;
        while ((got = ::read(file_, target.data(), target.size())) < 0 && (errno == EAGAIN || errno == EINTR)) {
            pollfd waiting{file_, POLLIN, 0};
            poll(&waiting, 1, -1);
        }
        return got;
    }

 private:
    int file_;
};

std::string read_text(std::string const& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw UnreadableFile(say("%s: is a folder", path));
    }
    if (std::filesystem::file_size(path, error) >= Document::size_limit && !error) {
        throw UnreadableFile(say("%s: 100 MB or more: no configuration is that large", path));
    }
    InputFile const file(path);
    // A pipe has no size ahead.
    std::string text;
    std::vector<char> piece(1U << 16U);
    ssize_t got = file.is_open() ? 0 : -1;
    while (file.is_open() && (got = file.read(piece)) > 0) {
        text.append(piece.data(), static_cast<size_t>(got));
        if (text.size() >= Document::size_limit) {
            throw UnreadableFile(say("%s: 100 MB or more: no configuration is that large", path));
        }
    }
    if (got < 0) {
        throw UnreadableFile(say("%s: can't be read: %s", path, std::string(std::strerror(errno))));
    }
    if (text.empty() && std::filesystem::is_fifo(path, error)) {
        throw UnreadableFile(say("%s: a pipe into which nobody writes", path));
    }
    return text;
}

bool holds(Json::Value const& value, ptrdiff_t offset) {
    return (value.isObject() || value.isArray()) && value.getOffsetStart() <= offset && offset < value.getOffsetLimit();
}

/// The child that holds the place; null where none does. Elements of a list come in the order of the file.
Json::Value const* child_at(Json::Value const& node, ptrdiff_t offset, std::string& key, Json::ArrayIndex& index) {
    if (node.isArray()) {
        Json::ArrayIndex first = 0;
        for (Json::ArrayIndex count = node.size(); count > 0;) {
            Json::ArrayIndex const half = count / 2;
            if (node[first + half].getOffsetStart() <= offset) {
                first += half + 1;
                count -= half + 1;
            } else {
                count = half;
            }
        }
        index = first == 0 ? 0 : first - 1;
        return first > 0 && (holds(node[index], offset) || node[index].getOffsetStart() == offset) ? &node[index]
                                                                                                   : nullptr;
    }
    for (auto member = node.begin(); member != node.end(); ++member) {
        if (holds(*member, offset)) {
            key = member.name();
            return &*member;
        }
    }
    return nullptr;
}

Json::Value const* member(Json::Value const& node, std::string const& key) {
    return node.isObject() ? node.find(key.data(), key.data() + key.size()) : nullptr;
}

/// Of a character in UTF-8.
bool is_first_byte(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

/// A device in the connection shape has a name for people and one that ties it to its parameters.
std::string device_name(Json::Value const& device) {
    std::string const cname = text_at(device, "cname");
    std::string const name = text_at(device, "name");
    return cname.empty() ? name : name + " [" + cname + "]";
}

}  // namespace

Document::Document(std::string path) : path_(std::move(path)), text_(read_text(path_)) {
    line_starts_.push_back(0);
    size_t characters = 0;
    for (size_t at = 0; at < text_.size(); ++at) {
        if (at % counted_bytes == 0) {
            characters_.push_back(characters);
        }
        characters += is_first_byte(text_[at]) ? 1 : 0;
        if (text_[at] == '\n') {
            line_starts_.push_back(at + 1);
        }
    }
    characters_.push_back(characters);
    mark_ = text_.starts_with(byte_order_mark) ? byte_order_mark.size() : 0;
    try {
        root_ = jUtils::ParseFile(path_, text_);
    } catch (std::exception const& e) {
        read_fault(e.what());
    }
}

namespace {

/// What the parser of JSON says.
constexpr Phrase parser_texts[] = {"Syntax error: value, object or array expected.",
                                   "Missing '}' or object member name",
                                   "Missing ':' after object member name",
                                   "Missing ',' or '}' in object declaration",
                                   "Missing ',' or ']' in array declaration",
                                   "Extra non-whitespace after JSON value.",
                                   "Bad escape sequence in string"};

std::string in_language(std::string const& text) {
    if (text.starts_with("Exceeded stackLimit")) {
        return say("nested too deeply");
    }
    for (Phrase const& phrase : parser_texts) {
        if (text == phrase.english()) {
            return say(phrase);
        }
    }
    return text;
}

}  // namespace

/// "PATH : ошибка разбора JSON : * Line 3, Column 5\n  Missing ',' ...". One that names no place is about the whole.
void Document::read_fault(std::string const& text) {
    fault_line_ = xCommon::LogArgument(text).text();
    static std::regex const place(R"(\* Line (\d+), Column (\d+)\n\s*([^\n]*))");
    std::smatch found;
    if (!std::regex_search(text, found, place)) {
        fault_ = text_.empty() ? say("the file is empty") : in_language(text.substr(text.rfind(" : ") + 3));
        return;
    }
    bool const is_wide = text_.starts_with("\xFF\xFE") || text_.starts_with("\xFE\xFF");
    fault_ = is_wide ? say("the file is in UTF-16: save it as UTF-8") : in_language(found[3]);
    fault_position_ = position_of(found[1], found[2]);
}

/// The parser counts bytes.
Document::Position Document::position_of(std::string const& line, std::string const& column) const {
    Position const told{std::stoul(line), std::stoul(column)};
    return told.line > line_starts_.size() ? told : position_of(line_starts_[told.line - 1] + told.column - 1);
}

std::optional<Document::Position> Document::not_utf8() const {
    size_t at = 0;
    while (at < text_.size()) {
        auto const lead = static_cast<unsigned char>(text_[at]);
        size_t const size = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
        size_t whole = 1;
        while (whole < size && at + whole < text_.size() && !is_first_byte(text_[at + whole])) {
            ++whole;
        }
        if (whole != size) {
            return position_of(at);
        }
        at += size;
    }
    return {};
}

std::optional<Document::Twice> Document::key_twice() const {
    static std::regex const place(R"(\* Line (\d+), Column (\d+)\n\s*Duplicate key: '([^\n]*)')");
    Json::Value root;
    std::string errors;
    std::smatch found;
    if (jUtils::parse_file(text_, root, errors, true) || !std::regex_search(errors, found, place)) {
        return {};
    }
    return Twice{found[3], position_of(found[1], found[2])};
}

std::vector<Document::Step> Document::steps_to(ptrdiff_t offset) const {
    std::vector<Step> steps;
    Json::Value const* node = &root_;
    Json::Value const* owner = &root_;
    std::string list;
    while (node != nullptr && node->getOffsetStart() != offset) {
        Json::ArrayIndex index = 0;
        bool const is_list = node->isArray();
        if (!is_list) {
            owner = node;
        }
        node = node->isObject() || is_list ? child_at(*node, offset, list, index) : nullptr;
        if (node != nullptr && is_list) {
            steps.push_back({list, index, node, owner});
        }
    }
    return steps;
}

Json::Value const* Document::element(ptrdiff_t offset) const {
    std::vector<Step> const steps = steps_to(offset);
    return steps.empty() ? nullptr : steps.back().element;
}

Json::Value const* Document::owner(ptrdiff_t offset) const {
    std::vector<Step> const steps = steps_to(offset);
    return steps.empty() ? nullptr : steps.back().owner;
}

std::string Document::path_to(ptrdiff_t offset) const {
    std::string path;
    std::vector<Step> const steps = steps_to(offset);
    for (size_t at = 0; at < steps.size(); ++at) {
        Step const& step = steps[at];
        std::string list = step.list;
        std::string name = text_at(*step.element, "name");
        if (jUtils::has(*step.element, "connection")) {
            name = text_at((*step.element)["connection"], "name");
        } else if (list == "devices") {
            name = device_name(*step.element);
        } else if (list == "parameters" && at > 0) {
            list = "devices";
            name = text_at(*step.element, "cname");
            for (Json::Value const& device : (*step.owner)["devices"]) {
                if (!name.empty() && text_at(device, "cname") == name) {
                    name = device_name(device);
                    break;
                }
            }
        } else if (list == "channels" && at > 0 && steps[at - 1].list == "parameters") {
            list = "params";
        }
        path += (path.empty() ? "" : " › ") + list + " " +
                (name.empty() ? "#" + std::to_string(step.index + 1) : "\"" + xString::Shown(name) + "\"");
    }
    return path;
}

Document::Position Document::position(ptrdiff_t offset, std::string const& key) const {
    Json::Value const* const found = element(offset);
    Json::Value const* node = found == nullptr ? &root_ : found;
    Json::Value const* holder = nullptr;
    std::string name;
    for (std::string const& piece : xString::Split(key, ".")) {
        Json::Value const* next = member(*node, piece);
        if (next == nullptr && holder == nullptr) {
            // The keys of a port in the connection shape.
            Json::Value const& connection = jUtils::at(*node, "connection");
            next = member(connection, piece);
            node = next == nullptr ? node : &connection;
        }
        if (next == nullptr) {
            break;
        }
        holder = node;
        node = next;
        name = piece;
    }
    if (holder == nullptr) {
        return position_of(place_of(offset));
    }
    size_t const begin = place_of(holder->getOffsetStart());
    size_t const value = place_of(node->getOffsetStart());
    // Ahead of the value, in the object; one that is written with escapes isn't found, and then the value does.
    size_t const at = std::string_view(text_).substr(begin, value - begin).rfind("\"" + name + "\"");
    return position_of(at == std::string_view::npos ? value : begin + at);
}

size_t Document::place_of(ptrdiff_t offset) const {
    return static_cast<size_t>(std::max<ptrdiff_t>(offset, 0)) + mark_;
}

/// Of the text ahead of the place, without a byte order mark.
size_t Document::characters_to(size_t place) const {
    size_t count = characters_[place / counted_bytes];
    for (size_t at = place - place % counted_bytes; at < place; ++at) {
        count += is_first_byte(text_[at]) ? 1 : 0;
    }
    return place < mark_ ? 0 : count - (mark_ > 0 ? 1 : 0);
}

Document::Position Document::position_of(size_t place) const {
    place = std::min(place, text_.size());
    auto const next = std::upper_bound(line_starts_.begin(), line_starts_.end(), place);
    size_t const start = *std::prev(next);
    return {static_cast<size_t>(next - line_starts_.begin()), characters_to(place) - characters_to(start) + 1};
}
