#include "app/normalise.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "config/load_scope.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"
#include "foundation/xlog.h"

using xCommon::global_log;
using xCommon::global_logf;
using xCommon::jUtils;
using xCommon::lmtError;
using xCommon::xString;

namespace {

/// The text under a key; empty when it is absent or no plain value.
std::string text_of(Json::Value const& node, char const* key) {
    Json::Value const& value = jUtils::at(node, key);
    return value.isConvertibleTo(Json::stringValue) ? value.asString() : std::string();
}

bool is_true(Json::Value const& node, char const* key) {
    Json::Value const& value = jUtils::at(node, key);
    return value.isConvertibleTo(Json::booleanValue) && value.asBool();
}

/// The list under a key; an empty one when it is absent or no list.
Json::Value const& list_of(Json::Value const& node, char const* key) {
    static Json::Value const* const nothing = new Json::Value(Json::arrayValue);
    Json::Value const& value = jUtils::at(node, key);
    return value.isArray() ? value : *nothing;
}

bool has_connections(Json::Value const& ports) {
    return std::any_of(ports.begin(), ports.end(),
                       [](Json::Value const& port) { return port.isObject() && port.isMember("connection"); });
}

/// A node that was made of one of the file stands where that one does.
void stands_for(Json::Value& made, Json::Value const& original) {
    made.setOffsetStart(original.getOffsetStart());
    made.setOffsetLimit(original.getOffsetLimit());
}

/// The groups of parameters that are bound to a device.
std::vector<Json::Value const*> groups_of(Json::Value const& device, Json::Value const& port) {
    std::vector<Json::Value const*> groups;
    for (Json::Value const& group : list_of(port, "parameters")) {
        if (text_of(group, "cname") == text_of(device, "cname")) {
            groups.push_back(&group);
        }
    }
    return groups;
}

Json::Value const& channels_of(Json::Value const& group) {
    return jUtils::at(jUtils::at(group, "config"), "channels");
}

/// The settings beside the ports, and no ports yet.
Json::Value without_ports(Json::Value const& file) {
    Json::Value settings(Json::objectValue);
    for (char const* key : {"log", "mqtt"}) {
        if (file.isMember(key)) {
            settings[key] = file[key];
        }
    }
    settings["ports"] = Json::Value(Json::arrayValue);
    return settings;
}

/// Takes out the elements that are no objects, with the line for an element without a name.
void keep_objects(Json::Value& list) {
    if (!list.isArray()) {
        return;
    }
    Json::Value kept(Json::arrayValue);
    for (Json::Value& element : list) {
        if (element.isObject()) {
            kept.append(std::move(element));
        } else {
            LoadScope const scope(element);
            global_log(lmtError, "Load : элемент без имени будет пропущен.");
        }
    }
    list = std::move(kept);
}

/// The file with nothing but objects in its lists of ports, devices and groups of parameters.
Json::Value with_objects_only(Json::Value file) {
    keep_objects(file["ports"]);
    for (Json::Value& port : file["ports"]) {
        for (char const* key : {"devices", "parameters"}) {
            if (port.isMember(key)) {
                keep_objects(port[key]);
            }
        }
    }
    return file;
}

/// Gathers the settings of the one GPIO worker from the first GPIO device that has a group of parameters.
void gather_xgpio(Json::Value const& file, Normalised& result) {
    result.xgpio = Json::Value();
    int number = 0;
    for (Json::Value const& port : list_of(file, "ports")) {
        Json::Value const& connection = jUtils::at(port, "connection");
        if (text_of(connection, "type") != "xgpio" || !is_true(connection, "enabled")) {
            continue;
        }
        for (Json::Value const& device : list_of(port, "devices")) {
            std::string const fallback_name = xString::Format("xgpio_%d", number++);
            std::string const name = jUtils::has(device, "name") ? text_of(device, "name") : fallback_name;
            if (text_of(device, "type") != "xgpio") {
                LoadScope const scope(device);
                global_log(lmtError, "Неизвестный тип устройства для порта XGPIO");
                continue;
            }
            std::vector<Json::Value const*> const groups = groups_of(device, port);
            if (!groups.empty()) {
                result.xgpio["mqtt"] = jUtils::at(file, "mqtt");
                result.xgpio["name"] = name;
                result.xgpio["wto"] = jUtils::at(connection, "wto");
                result.xgpio["channels"] = channels_of(*groups.front());
                result.is_xgpio = true;
                stands_for(result.xgpio, device);
                return;
            }
        }
    }
}

/// A port of its own for each device: host and unit are the two halves of the device's `sid`.
void split_devices(Json::Value port, Json::Value& ports) {
    int number = 0;
    // A copy, because the devices of the port being split are rewritten on the way.
    Json::Value const devices = port["devices"];
    for (Json::Value device : devices) {
        std::vector<std::string> halves = xString::Split(text_of(device, "sid"), ":");
        halves.resize(2);
        Json::Value& connection = port["connection"];
        std::string const name =
            xString::Format("%s_%s_%d", text_of(connection, "name"), text_of(device, "name"), number++);
        if (!connection["tcp"].isObject()) {
            connection["tcp"] = Json::Value(Json::objectValue);
        }
        connection["tcp"]["url"] = halves[0];
        device["sid"] = static_cast<int>(std::strtol(halves[1].c_str(), nullptr, 10));

        Json::Value split(Json::objectValue);
        stands_for(split, port);
        split["connection"] = connection;
        split["connection"]["name"] = name;
        split["devices"].append(device);
        split["parameters"] = Json::Value(Json::arrayValue);
        for (Json::Value const* group : groups_of(device, port)) {
            split["parameters"].append(*group);
        }
        ports.append(split);
    }
}

/// Walks the devices for the first of type "mb-tcp" and then splits the port. A device of another type met before is
/// appended behind the last one and the walk goes on, so that it gets two ports; where there is no "mb-tcp" at all the
/// list has no end. Files in service rely on the order that results, so the walk stays as it is; such a file is not to
/// be written.
void split_tcp_port(Json::Value port, Json::Value& ports, Endless endless) {
    LoadScope const scope(port);
    bool const lists = jUtils::at(port, "devices").isArray() &&
                       (!jUtils::has(port, "parameters") || jUtils::at(port, "parameters").isArray());
    if (!lists) {
        global_logf(lmtError, "порт base.tcp '%s' пропущен : 'devices' и 'parameters' должны быть списками.",
                    text_of(jUtils::at(port, "connection"), "name"));
        return;
    }
    Json::Value& devices = port["devices"];
    auto const is_mb_tcp = [](Json::Value const& device) { return text_of(device, "type") == "mb-tcp"; };
    if (!devices.empty() && std::none_of(devices.begin(), devices.end(), is_mb_tcp)) {
        global_logf(lmtError,
                    "порт base.tcp '%s' не содержит ни одного устройства mb-tcp : разбор файла не завершится.",
                    text_of(port["connection"], "name"));
        if (endless == Endless::skipped) {
            return;
        }
    }
    for (Json::ArrayIndex index = 0; index < devices.size(); ++index) {
        if (is_mb_tcp(devices[index])) {
            split_devices(std::move(port), ports);
            return;
        }
        Json::Value const again = devices[index];
        devices.append(again);
    }
}

/// A device in the plain shape: its parameters come from the group of the same `cname`, its name becomes the `cname`,
/// and the old name survives as `display_name`.
Json::Value plain_device(Json::Value const& device, Json::Value const& port, bool is_z2t) {
    Json::Value plain(Json::objectValue);
    stands_for(plain, device);
    if (is_z2t) {
        plain["cname"] = jUtils::at(device, "cname");
    }
    Json::Value name = jUtils::at(device, "name");
    // The members come sorted, "cname" before "name", so what the group decides is what is copied later.
    for (std::string const& key : device.getMemberNames()) {
        if (key != "cname") {
            plain[key] = key == "name" ? name : device[key];
            continue;
        }
        for (Json::Value const* group : groups_of(device, port)) {
            plain["params"] = channels_of(*group);
            plain["display_name"] = name;
            name = device["cname"];
            plain["name"] = name;
        }
    }
    return plain;
}

bool lacks_a_part(Json::Value const& port) {
    return jUtils::at(port, "connection").empty() || jUtils::at(port, "devices").empty() ||
           jUtils::at(port, "parameters").empty();
}

/// Null when the port is dropped. `nameless` counts the ports without a name.
Json::Value plain_port(Json::Value const& port, int& nameless) {
    Json::Value const& connection = jUtils::at(port, "connection");
    if (lacks_a_part(port)) {
        return {};
    }
    LoadScope const scope(port);
    if (!connection.isObject() || !port["devices"].isArray() || !port["parameters"].isArray()) {
        global_log(lmtError, "порт пропущен : 'connection' должен быть объектом, 'devices' и 'parameters' - списками.");
        return {};
    }
    Json::Value plain = connection;
    stands_for(plain, port);
    if (text_of(plain, "name").empty()) {
        plain["name"] = xString::Format("port_%d", ++nameless);
    }
    Json::Value devices(Json::arrayValue);
    for (Json::Value const& device : port["devices"]) {
        devices.append(plain_device(device, port, text_of(connection, "type") == "base.z2t"));
    }
    plain["devices"] = devices;
    return plain;
}

void note_dropped(Json::Value const& port, Normalised& result) {
    if (lacks_a_part(port)) {
        result.dropped.push_back(port.getOffsetStart());
    }
}

}  // namespace

Normalised normalise(Json::Value const& raw_file, Endless endless) {
    if (!raw_file.isObject()) {
        throw xCommon::xException("корень файла конфигурации не является объектом.");
    }
    Normalised result;
    if (!has_connections(list_of(raw_file, "ports"))) {
        result.config = raw_file;
        return result;
    }

    Json::Value const file = with_objects_only(raw_file);
    Json::Value carried = without_ports(file);
    for (Json::Value const& port : list_of(file, "ports")) {
        std::string const type = text_of(jUtils::at(port, "connection"), "type");
        note_dropped(port, result);
        if (type == "xgpio") {
            gather_xgpio(file, result);
        } else if (type == "base.tcp") {
            split_tcp_port(port, carried["ports"], endless);
        } else {
            carried["ports"].append(port);
        }
    }
    if (!has_connections(carried["ports"])) {
        result.config = carried;
        return result;
    }

    result.config = without_ports(carried);
    int nameless = 0;
    for (Json::Value const& port : carried["ports"]) {
        note_dropped(port, result);
        Json::Value const plain = plain_port(port, nameless);
        if (!plain.isNull()) {
            result.config["ports"].append(plain);
        }
    }
    return result;
}
