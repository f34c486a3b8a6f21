#include <algorithm>
#include <optional>
#include <set>
#include <span>
#include <string_view>

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
        look_at_object(root, "mqtt.tls.", jUtils::at(file["mqtt"], "tls"), "mqtt.tls", {});
        look_at_object(root, "mqtt.discovery.", jUtils::at(file["mqtt"], "discovery"), "mqtt.discovery", {});
        look_at_object(root, "log.", file["log"], "log", {});
        bool const is_gpio_alone = context_.loading.gpio && context_.loading.config->ports.children.empty();
        if (file["mqtt"].isObject() && !file["mqtt"].isMember("port") && !is_gpio_alone) {
            context_.add(warn::mqtt_port, root, "mqtt", say("without port it is 0, not 1883"));
        }
        bool const is_plain = std::none_of(file["ports"].begin(), file["ports"].end(),
                                           [](Json::Value const& port) { return jUtils::has(port, "connection"); });
        for (char const* key : {"mqtt_url", "mqtt_port", "log_maxsize", "log_quiet", "log_debug"}) {
            bool const is_of_mqtt = std::string_view(key).starts_with("mqtt");
            look_at_old_key(root, file, key, is_of_mqtt ? "mqtt" : "log", is_plain);
        }
    }

    /// Read in place of an object, some of them together with another one only.
    void look_at_old_key(Loading::Place const& root, Json::Value const& file, std::string_view key,
                         std::string const& object, bool is_plain) {
        std::string const partner = key == "mqtt_port" ? "mqtt_url" : key == "log_debug" ? "log_maxsize" : "";
        if (!file.isMember(std::string(key))) {
            return;
        }
        if (file.isMember(object)) {
            context_.add(warn::idle_key, root, std::string(key), say("has no effect beside %s", object));
        } else if (!is_plain) {
            context_.add(warn::idle_key, root, std::string(key),
                         say("isn't read in a file with connection: use the object %s", object));
        } else if (!partner.empty() && !file.isMember(partner)) {
            context_.add(warn::idle_key, root, std::string(key), say("has no effect without %s", partner));
        }
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
            std::optional<Phrase> const reason = row == nullptr ? std::nullopt : why_idle(element, node, *row);
            if (reason) {
                context_.add(warn::idle_key, element.place, key, say(*reason));
            }
        }
        look_at_object(element.place, "rs.", node["rs"], "rs", {});
        look_at_object(element.place, "tcp.", node["tcp"], "tcp", {});
        for (Json::Value const& bit : list_of(node, "bh_list")) {
            look_at_object({element.place.file, bit.getOffsetStart()}, "", bit, "bh_list", {});
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

    /// Of a key of the class that plays no part in this element.
    static std::optional<Phrase> why_idle(Loading::Element const& element, Json::Value const& node,
                                          keys::Key const& row) {
        std::string_view const key = row.name;
        if (std::string_view(row.english).starts_with("has no effect")) {
            return Phrase("has no effect");
        }
        if (element.is_overlay) {
            // An object id is laid over by its own rule.
            bool const stays = row.overlay == keys::Overlay::ignored && key != "name" && key != "type";
            return stays && key != "object_id" ? std::optional(Phrase("stays as the template has it")) : std::nullopt;
        }
        if (element.class_key.ends_with(".cport")) {
            return why_idle_in_port(element.class_key, node, key);
        }
        return element.node == nullptr ? std::nullopt : why_idle_in(*element.node, element.class_key, key);
    }

    static std::optional<Phrase> why_idle_in_port(std::string const& class_key, Json::Value const& node,
                                                  std::string_view key) {
        bool const is_line = class_key.find("rs") != std::string::npos;
        bool const is_tcp = !is_line && class_key.find("tcp") != std::string::npos;
        bool const is_bridge = class_key.find("z2t") != std::string::npos;
        bool const is_peer = key == "tcp" || key == "url" || key == "port";
        if ((key == "rs" && !is_line) || (is_peer && !is_tcp) || (key == "zigbee" && !is_bridge)) {
            return Phrase("is for ports of another type");
        }
        if ((key == "url" || key == "port") && node.isMember("tcp")) {
            return Phrase("has no effect: tcp counts");
        }
        return has_row(port_part, class_key, key) ? std::optional(Phrase("has no effect with this driver"))
                                                  : std::nullopt;
    }

    static std::optional<Phrase> why_idle_in(CBase const& node, std::string const& class_key, std::string_view key) {
        if (class_key.ends_with(".cdev")) {
            bool const is_modbus = node.type.starts_with("mb-");
            bool const is_on_line = node.parent == nullptr || node.parent->type.find("rs") != std::string::npos;
            bool const is_idle = (key == "all_params" && !is_modbus) || (key == "rs" && !is_on_line) ||
                                 has_row(device_part, node.type, key);
            return is_idle ? std::optional(Phrase("has no effect with this driver")) : std::nullopt;
        }
        CBase const* const device = node.parent;
        if (device == nullptr || !class_key.ends_with(".cparam")) {
            return {};
        }
        if (key == "poll_reconnect" || key == "silent_probe") {
            return Phrase("has no effect at a parameter: the device's counts");
        }
        if (device->all_params && (key == "converter_read" || key == "poll_delay")) {
            return Phrase("has no effect in a device with all_params");
        }
        bool const is_modbus = device->type.starts_with("mb-");
        bool const is_idle = (key == "debounce" && device->type != "mb-rtu") ||
                             ((key == "error_value" || key == "word_order") && !is_modbus) ||
                             has_row(param_part, device->type, key);
        return is_idle ? std::optional(Phrase("has no effect with this driver")) : std::nullopt;
    }

    /// Keys that a driver has no use for.
    struct Idle {
        char const* type;  ///< begins the type word of the port or device
        char const* key;
    };
    static constexpr Idle port_part[] = {{"base.z2t", "poll_interval"}, {"base.z2t", "rto"},
                                         {"base.z2t", "sto"},           {"base.z2t", "poll_reconnect"},
                                         {"base.z2t", "silent_probe"},  {"dlms", "poll_reconnect"}};
    static constexpr Idle device_part[] = {{"merc", "poll_reconnect"},
                                           {"milur", "poll_reconnect"},
                                           {"set-4tm", "poll_reconnect"},
                                           {"dcon", "poll_reconnect"},
                                           {"dlms", "poll_reconnect"},
                                           {"dlms", "rs"},
                                           {"z2t", "poll_interval"},
                                           {"z2t", "rto"},
                                           {"z2t", "sto"},
                                           {"z2t", "poll_reconnect"},
                                           {"z2t", "silent_probe"},
                                           {"pulsar", "silent_probe"},
                                           {"pulsar", "templ"}};
    static constexpr Idle param_part[] = {{"z2t", "poll_interval"},
                                          {"z2t", "rto"},
                                          {"z2t", "sto"},
                                          {"z2t", "enabled"},
                                          {"pulsar", "value_type"},
                                          {"pulsar", "poll_interval"},
                                          {"vkt7", "converter_read"},
                                          {"vkt7", "converter_write"}};

    static bool has_row(std::span<Idle const> rows, std::string_view type, std::string_view key) {
        return std::any_of(rows.begin(), rows.end(),
                           [type, key](Idle const& row) { return type.starts_with(row.type) && key == row.key; });
    }

    WarningContext const& context_;
};

}  // namespace

void look_at_keys(WarningContext const& context) {
    KeyLook(context).look();
}
