#include <algorithm>
#include <set>

#include "ctl/check/key_rows.h"
#include "ctl/check/warnings.h"
#include "foundation/jutils.h"

using xCommon::jUtils;
using xCommon::xString;

namespace {

class KeyLook {
 public:
    explicit KeyLook(WarningContext const& context) : context_(context) {}

    void look() {
        look_at_root();
        for (Loading::Element const& element : context_.loading.elements) {
            if (!key_rows::tables(element.class_key).empty() && element.class_key != "gpio") {
                look_at(element);
            }
        }
    }

 private:
    void look_at_root() {
        Loading::Place const root{context_.loading.file().path(), -1};
        Json::Value const& file = context_.loading.file().root();
        if (!file.isObject()) {
            return;
        }
        look_at_object(root, "", file, "root", {"$schema"});
        look_at_object(root, "mqtt.", file["mqtt"], "mqtt", {});
        look_at_object(root, "log.", file["log"], "log", {});
        if (file["mqtt"].isObject() && !file["mqtt"].isMember("port")) {
            context_.add(warn::mqtt_port, root, "mqtt", say("without port it is 0, not 1883"));
        }
        auto const idle = [&](char const* key, bool is_idle, char const* owner) {
            if (is_idle && file.isMember(key)) {
                context_.add(warn::idle_key, root, key, say("has no effect beside or without %s", std::string(owner)));
            }
        };
        idle("mqtt_url", file.isMember("mqtt"), "mqtt");
        idle("mqtt_port", file.isMember("mqtt") || !file.isMember("mqtt_url"), "mqtt_url");
        for (char const* key : {"log_maxsize", "log_quiet", "log_debug"}) {
            idle(key, file.isMember("log"), "log");
        }
        idle("log_debug", !file.isMember("log") && !file.isMember("log_maxsize"), "log_maxsize");
    }

    void look_at(Loading::Element const& element) {
        Json::Value const& json = context_.loading.element(element.place);
        bool const is_connected = jUtils::has(json, "connection");
        Json::Value const& node = is_connected ? json["connection"] : json;
        if (!node.isObject()) {
            return;
        }
        // Of the connection shape, whose devices are tied to their parameters by it.
        look_at_object(element.place, "", node, element.class_key, {"cname"});
        for (std::string const& key : node.getMemberNames()) {
            keys::Key const* const row = key_rows::find(element.class_key, key);
            if (row != nullptr && is_idle(element, node, *row)) {
                context_.add(warn::idle_key, element.place, key, say("has no effect here"));
            }
        }
        look_at_object(element.place, "rs.", node["rs"], "rs", {});
        look_at_object(element.place, "tcp.", node["tcp"], "mqtt", {});
        for (Json::Value const& bit : list_of(node, "bh_list")) {
            look_at_object(element.place, "bh_list.", bit, "bh_list", {});
        }
    }

    static Json::Value const& list_of(Json::Value const& node, char const* key) {
        Json::Value const& list = jUtils::at(node, key);
        return list.isArray() ? list : Json::Value::nullSingleton();
    }

    void look_at_object(Loading::Place const& place, std::string const& prefix, Json::Value const& object,
                        std::string const& class_key, std::set<std::string> const& also) {
        if (!object.isObject()) {
            return;
        }
        for (std::string const& key : object.getMemberNames()) {
            if (also.contains(key) || key_rows::find(class_key, key) != nullptr) {
                continue;
            }
            if (key_rows::is_known(key)) {
                context_.add(warn::idle_key, place, prefix + key, say("has no effect here"));
                continue;
            }
            std::string const near = key_rows::nearest(key, names_of(class_key));
            context_.add(
                warn::unknown_key, place, prefix + key,
                say("is no key that anything reads") + (near.empty() ? "" : " " + say("(did you mean %s?)", near)));
        }
    }

    static std::vector<std::string> names_of(std::string const& class_key) {
        std::vector<std::string> names;
        for (auto const& table : key_rows::tables(class_key)) {
            for (keys::Key const& row : table) {
                names.emplace_back(row.name);
            }
        }
        return names;
    }

    /// A key of the class that plays no part in this element.
    static bool is_idle(Loading::Element const& element, Json::Value const& node, keys::Key const& row) {
        std::string_view const key = row.name;
        std::string const& class_key = element.class_key;
        if (std::string_view(row.english).starts_with("has no effect")) {
            return true;
        }
        if (element.is_overlay) {
            // An object id is laid over by its own rule.
            return row.overlay == keys::Overlay::ignored && key != "name" && key != "type" && key != "object_id";
        }
        if (class_key.ends_with(".cport")) {
            bool const is_line = class_key.find("rs") != std::string::npos;
            bool const is_tcp = !is_line && class_key.find("tcp") != std::string::npos;
            bool const is_bridge = class_key.find("z2t") != std::string::npos;
            return (key == "rs" && !is_line) || (key == "tcp" && !is_tcp) || (key == "zigbee" && !is_bridge) ||
                   ((key == "url" || key == "port") && (!is_tcp || node.isMember("tcp")));
        }
        if (class_key.ends_with(".cdev")) {
            return (key == "all_params" && !class_key.starts_with("mb-")) ||
                   (key == "templ" && class_key.starts_with("pulsar"));
        }
        return false;
    }

    WarningContext const& context_;
};

}  // namespace

void look_at_keys(WarningContext const& context) {
    KeyLook(context).look();
}
