#include "ctl/live/selection.h"

#include <algorithm>
#include <stdexcept>

#include "config/cport.h"
#include "ctl/check/key_rows.h"
#include "ctl/json_text.h"
#include "ctl/language/phrase.h"
#include "foundation/xstring.h"

namespace {

/// The piece of a topic behind "/devices/".
std::string topic_name(TopicRow const& row) {
    std::vector<std::string> const pieces = xCommon::xString::Split(row.topic, "/");
    return pieces.size() > 1 ? pieces[1] : std::string();
}

std::vector<std::string> names_of(Loading const& loading, TopicRow const& row) {
    std::vector<std::string> names{topic_name(row), row.device};
    if (row.node != nullptr && row.node->parent != nullptr) {
        Json::Value const& element = loading.element(loading.place_of(row.node->parent));
        names.insert(names.end(), {row.node->parent->name, text_at(element, "name"), text_at(element, "cname")});
    }
    return names;
}

bool is_device(Loading const& loading, TopicRow const& row, std::string const& name) {
    std::vector<std::string> const names = names_of(loading, row);
    return !name.empty() && std::find(names.begin(), names.end(), name) != names.end();
}

bool is_parameter(TopicRow const& row, std::string const& name) {
    return row.parameter == name || (row.node != nullptr && row.node->name == name);
}

}  // namespace

std::vector<TopicRow> select_rows(Loading const& loading, std::vector<TopicRow> const& rows,
                                  std::string const& wanted) {
    std::vector<TopicRow> found;
    bool has_device = false;
    std::vector<std::string> near;
    for (TopicRow const& row : rows) {
        bool const is_whole = is_device(loading, row, wanted);
        bool is_meant = is_whole;
        // Names may have strokes of their own.
        for (size_t at = wanted.find('/'); at != std::string::npos && !is_whole; at = wanted.find('/', at + 1)) {
            bool const is_of_device = is_device(loading, row, wanted.substr(0, at));
            has_device |= is_of_device;
            is_meant |= is_of_device && is_parameter(row, wanted.substr(at + 1));
        }
        if (is_meant) {
            found.push_back(row);
        }
        near.push_back(topic_name(row));
        near.push_back(topic_name(row) + "/" + row.parameter);
    }
    if (found.empty()) {
        std::string const guess = key_rows::nearest(wanted, near);
        throw std::runtime_error((has_device
                                      ? say("%s: the device has no such parameter, or it is switched off", wanted)
                                      : say("%s: there is no such device, or it is switched off", wanted)) +
                                 (guess.empty() ? "" : " " + say("(did you mean %s?)", guess)));
    }
    return found;
}
