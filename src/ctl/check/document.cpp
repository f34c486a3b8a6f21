#include "ctl/check/document.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>

#include "ctl/json_text.h"
#include "ctl/language/phrase.h"
#include "foundation/jutils.h"

using xCommon::jUtils;
using xCommon::xString;

namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

std::string read_text(std::string const& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw UnreadableFile(say("%s: is a folder", path));
    }
    if (std::filesystem::file_size(path, error) >= Document::size_limit && !error) {
        throw UnreadableFile(say("%s: 100 MB or more: no configuration is that large", path));
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw UnreadableFile(say("%s: can't be read: %s", path, std::string(std::strerror(errno))));
    }
    // A pipe has no size ahead.
    std::string text;
    std::vector<char> piece(1U << 16U);
    while (file.read(piece.data(), static_cast<std::streamsize>(piece.size())) || file.gcount() > 0) {
        text.append(piece.data(), static_cast<size_t>(file.gcount()));
        if (text.size() >= Document::size_limit) {
            throw UnreadableFile(say("%s: 100 MB or more: no configuration is that large", path));
        }
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

/// A device in the connection shape has a name for people and one that ties it to its parameters.
std::string device_name(Json::Value const& device) {
    std::string const cname = text_at(device, "cname");
    std::string const name = text_at(device, "name");
    return cname.empty() ? name : name + " [" + cname + "]";
}

}  // namespace

Document::Document(std::string path) : path_(std::move(path)), text_(read_text(path_)) {
    line_starts_.push_back(0);
    for (size_t at = text_.find('\n'); at != std::string::npos; at = text_.find('\n', at + 1)) {
        line_starts_.push_back(at + 1);
    }
    mark_ = text_.starts_with(byte_order_mark) ? byte_order_mark.size() : 0;
    try {
        root_ = jUtils::Load(path_);
    } catch (std::exception const& e) {
        read_fault(e.what());
    }
}

/// "PATH : ошибка разбора JSON : * Line 3, Column 5\n  Missing ',' ...". One that names no place is about the whole.
void Document::read_fault(std::string const& text) {
    static std::regex const place(R"(\* Line (\d+), Column (\d+)\n\s*([^\n]*))");
    std::smatch found;
    if (!std::regex_search(text, found, place)) {
        fault_ = text_.empty() ? say("the file is empty") : text.substr(text.rfind(" : ") + 3);
        return;
    }
    fault_ = found[3];
    fault_position_.line = std::stoul(found[1]);
    fault_position_.column = std::stoul(found[2]);
    if (fault_position_.line <= line_starts_.size()) {
        // The parser counts bytes.
        size_t const start = line_starts_[fault_position_.line - 1];
        fault_position_ = position_of(std::min(start + fault_position_.column - 1, text_.size()));
    }
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
    Json::Value const* node = element(offset);
    node = node == nullptr ? &root_ : node;
    Json::Value const* value = nullptr;
    std::string last;
    for (std::string const& piece : xString::Split(key, ".")) {
        Json::Value const* const next =
            node->isObject() ? node->find(piece.data(), piece.data() + piece.size()) : nullptr;
        if (next == nullptr && value == nullptr && node->isObject() && node->isMember("connection")) {
            // The keys of a port in the connection shape.
            node = &(*node)["connection"];
            value = node->isObject() ? node->find(piece.data(), piece.data() + piece.size()) : nullptr;
        } else if (next != nullptr) {
            value = next;
        }
        if (value == nullptr) {
            break;
        }
        node = value;
        last = piece;
    }
    if (value == nullptr) {
        return position_of(static_cast<size_t>(std::max<ptrdiff_t>(offset, 0)) + mark_);
    }
    size_t const place = static_cast<size_t>(value->getOffsetStart()) + mark_;
    // Ahead of the value; one that is written with escapes isn't found, and then the value does.
    size_t const name = text_.rfind("\"" + last + "\"", place);
    return position_of(name == std::string::npos ? place : name);
}

Document::Position Document::position_of(size_t place) const {
    auto const next = std::upper_bound(line_starts_.begin(), line_starts_.end(), place);
    size_t start = *std::prev(next);
    Position position{static_cast<size_t>(next - line_starts_.begin()), 1};
    if (start == 0) {
        start = std::min(mark_, place);
    }
    for (size_t at = start; at < place && at < text_.size(); ++at) {
        position.column += (static_cast<unsigned char>(text_[at]) & 0xC0U) != 0x80U ? 1 : 0;
    }
    return position;
}
