#include <algorithm>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/writer.h>

#include "app/normalise.h"
#include "config/config.h"
#include "config/constants.h"
#include "config/cport.h"
#include "runtime/ibase.h"
#include "support/log_capture.h"

// A wrong value in every place of a file, one at a time. The fault may cost the element that it stands in, with a line
// in the log, and nothing else.

namespace {

using Step = std::variant<std::string, Json::ArrayIndex>;
using Path = std::vector<Step>;

constexpr char plain_file[] = R"({
    "mqtt": {"url": "127.0.0.1", "port": 1883}, "log": {"max_size": 5, "is_debug": true},
    "ports": [
        {"name": "p0", "type": "base.null", "enabled": true, "poll_interval": 5, "rto": 6, "sto": 7,
         "poll_reconnect": false, "devices": [
            {"name": "d0", "type": "mb-rtu", "sid": 17, "poll_delay": 0, "templ": "", "display_name": "D",
             "all_params": false, "rs": {"path": "/dev/ttyS9", "baudrate": 9600, "parity": "none"}, "params": [
                {"name": "a", "reg_addr": 1, "reg_type": "holding", "value_type": "u16", "word_order": "big_endian",
                 "read_only": false, "scale": 0.1, "correction": 1, "inverted": false, "unit": "V", "min": 0,
                 "max": 10, "error_value": "0xFF", "debounce": 1, "converter_read": "", "converter_write": "",
                 "poll_delay": 1, "poll_interval": 1, "rto": 1, "sto": 1, "poll_reconnect": false, "enabled": true},
                {"name": "b", "reg_addr": 2, "reg_type": "holding-bit", "value_type": "u16",
                 "bh_list": [{"name": "x", "offset": 0, "inverted": true}, {"name": "y", "offset": 1}]},
                {"name": "a", "unit": "A", "scale": 0.2, "reg_addr": 3, "word_order": "big_endian"}]},
            {"name": "d1", "type": "mb-rtu", "sid": 18, "params": [{"name": "a", "reg_addr": 1}]}]},
        {"name": "p1", "type": "base.rs", "rs": {"path": "/dev/ttyS9", "baudrate": 9600, "bytesize": 8,
         "parity": "none", "stopbits": 1, "flowcontrol": "none"}, "devices": [
            {"name": "d", "type": "mb-rtu", "sid": 1, "params": [{"name": "a", "reg_addr": 1}]}]},
        {"name": "p2", "type": "base.tcp", "tcp": {"url": "127.0.0.1", "port": 1}, "devices": [
            {"name": "d", "type": "mb-rtu", "sid": 1, "params": [{"name": "a", "reg_addr": 1}]}]},
        {"name": "p3", "type": "base.tcp", "url": "127.0.0.1", "port": 1, "devices": [
            {"name": "d", "type": "mb-rtu", "sid": 1, "params": [{"name": "a", "reg_addr": 1}]}]},
        {"name": "p4", "type": "base.z2t", "zigbee": {"address": "0x1"}, "devices": [
            {"name": "d", "type": "mb-rtu", "sid": 1, "params": [{"name": "a", "reg_addr": 1}]}]}]})";

constexpr char connection_file[] = R"({
    "log": {"max_size": 5}, "ports": [
        {"connection": {"name": "p0", "type": "base.null", "rto": 5}, "devices": [
            {"name": "D", "cname": "d0", "type": "mb-rtu", "sid": 17}, {"name": "E", "cname": "d1", "type": "mb-rtu", "sid": 1}],
         "parameters": [{"cname": "d0", "config": {"channels": [{"name": "a", "reg_addr": 1}]}},
                        {"cname": "d1", "config": {"channels": [{"name": "a", "reg_addr": 1}]}}]},
        {"connection": {"name": "p1", "type": "base.tcp", "tcp": {"port": 1}}, "devices": [
            {"name": "D", "cname": "d", "type": "mb-tcp", "sid": "127.0.0.1:1"},
            {"name": "E", "cname": "d", "type": "mb-tcp", "sid": "127.0.0.1:2"}],
         "parameters": [{"cname": "d", "config": {"channels": [{"name": "a", "reg_addr": 1}]}}]},
        {"connection": {"name": "gpio", "type": "xgpio", "enabled": true, "wto": 100}, "devices": [
            {"name": "g", "cname": "g", "type": "xgpio"}],
         "parameters": [{"cname": "g", "config": {"channels": []}}]},
        {"connection": {"name": "p2", "type": "base.null"}, "devices": [{"name": "D", "cname": "d", "type": "mb-rtu", "sid": 1}],
         "parameters": [{"cname": "d", "config": {"channels": [{"name": "a", "reg_addr": 1}]}}]}]})";

Json::Value json(std::string const& text) {
    Json::Value value;
    std::istringstream("[" + text + "]") >> value;
    return value[0];
}

void collect(Json::Value const& node, Path const& here, std::vector<Path>& found) {
    if (!here.empty()) {
        found.push_back(here);
    }
    auto const go_on = [&](Step const& step, Json::Value const& child) {
        Path deeper = here;
        deeper.push_back(step);
        collect(child, deeper, found);
    };
    if (node.isObject()) {
        for (std::string const& key : node.getMemberNames()) {
            go_on(key, node[key]);
        }
    } else if (node.isArray()) {
        for (Json::ArrayIndex index = 0; index < node.size(); ++index) {
            go_on(index, node[index]);
        }
    }
}

Json::Value& at(Json::Value& root, Path const& path) {
    Json::Value* node = &root;
    for (Step const& step : path) {
        auto const* key = std::get_if<std::string>(&step);
        node = key != nullptr ? &(*node)[*key] : &(*node)[std::get<Json::ArrayIndex>(step)];
    }
    return *node;
}

std::string shown(Path const& path) {
    std::string text;
    for (Step const& step : path) {
        auto const* key = std::get_if<std::string>(&step);
        text += key != nullptr ? "." + *key : "[" + std::to_string(std::get<Json::ArrayIndex>(step)) + "]";
    }
    return text;
}

/// The parameters of the tree that a file gives, as "port/device/parameter". Run-time objects are made on the way.
std::set<std::string> loaded(Json::Value const& file) {
    std::set<std::string> found;
    Normalised normalised = normalise(file);
    std::unique_ptr<Config> const config(Config::Load(normalised.config));
    if (!config) {
        return found;
    }
    for (auto const& port : config->ports.children) {
        auto const creator = IBFac::stone_map().find(port->type + suffix_port);
        try {
            std::unique_ptr<IBase> const object(creator->second(nullptr, port.get()));
        } catch (std::exception const& e) {
            xCommon::global_log(xCommon::lmtError, e.what());
        }
        for (auto const& device : port->children) {
            for (auto const& param : device->children) {
                found.insert(port->name + "/" + device->name + "/" + param->name);
            }
        }
    }
    return found;
}

Json::Value const& wrong_values() {
    static Json::Value const* const values = new Json::Value(
        json(R"([{}, [], "", "text", 5, -1, 1.5, 1e300, true, null, [null], [5, "x", {}], {"a": [1]}])"));
    return *values;
}

/// How many leading elements of a path lead to the innermost port, device or parameter that it lies in.
size_t element_depth(Path const& path) {
    size_t depth = 0;
    for (size_t index = 1; index < path.size(); index += 2) {
        auto const* list = std::get_if<std::string>(&path[index - 1]);
        bool const is_list = list != nullptr && (*list == "ports" || *list == "devices" || *list == "params");
        if (!is_list || std::get_if<Json::ArrayIndex>(&path[index]) == nullptr) {
            break;
        }
        depth = index + 1;
    }
    return depth;
}

/// Puts every wrong value in every place; `of_element` tells whether a parameter of the tree belongs to the element
/// that the place lies in, `skipped` which of the values aren't for this place.
template <typename Belongs, typename Skip>
void spoil_everywhere(Json::Value const& file, Belongs of_element, Skip skipped) {
    std::set<std::string> const whole = loaded(file);
    ASSERT_FALSE(whole.empty());
    std::vector<Path> places;
    collect(file, {}, places);
    for (Path const& place : places) {
        for (Json::Value const& value : wrong_values()) {
            if (skipped(place, value)) {
                continue;
            }
            Json::Value spoilt = file;
            at(spoilt, place) = value;
            SCOPED_TRACE(shown(place) + " = " + Json::FastWriter().write(value));
            LogCapture const log(false);
            std::set<std::string> const left = loaded(spoilt);
            bool lost = false;
            for (std::string const& name : whole) {
                if (left.count(name) == 0) {
                    lost = true;
                    EXPECT_TRUE(of_element(place, name)) << "lost : " << name;
                }
            }
            if (lost && left.size() < whole.size()) {
                EXPECT_TRUE(log.has("[3] ")) << "no line tells of it";
            }
        }
    }
}

std::string text_at(Json::Value const& node, char const* key) {
    return node[key].asString();
}

}  // namespace

TEST(BrokenConfiguration, PlainFile) {
    Json::Value const file = json(plain_file);
    ASSERT_EQ(loaded(file).size(), 7U);
    auto const of_element = [&file](Path const& place, std::string const& param) {
        // The address of the broker, the log and the list of ports are everybody's.
        if (std::get<std::string>(place[0]) != "ports" || place.size() == 1) {
            return true;
        }
        Json::Value copy = file;
        size_t const depth = element_depth(place);
        std::string prefix = text_at(at(copy, Path(place.begin(), place.begin() + 2)), "name") + "/";
        if (depth >= 4) {
            Json::Value const& device = at(copy, Path(place.begin(), place.begin() + 4));
            prefix += text_at(device, "name") + "_" + text_at(device, "sid") + "/";
        }
        if (depth >= 6) {
            prefix += text_at(at(copy, Path(place.begin(), place.begin() + 6)), "name");
        }
        return depth > 0 && param.starts_with(prefix);
    };
    spoil_everywhere(file, of_element, [](Path const& /*place*/, Json::Value const& /*value*/) { return false; });
}

TEST(BrokenConfiguration, ConnectionFile) {
    Json::Value const file = json(connection_file);
    ASSERT_EQ(loaded(file).size(), 5U);
    auto const of_element = [&file](Path const& place, std::string const& param) {
        if (std::get<std::string>(place[0]) != "ports" || place.size() == 1) {
            return true;
        }
        Json::Value copy = file;
        Json::Value const& port = at(copy, Path(place.begin(), place.begin() + 2));
        return param.starts_with(text_at(port["connection"], "name"));
    };
    spoil_everywhere(file, of_element, [](Path const& place, Json::Value const& value) {
        // A port of which a piece is empty is left out without a word, and so is what becomes of a split port whose
        // device has no group.
        bool const is_port = place.size() == 2;
        bool const is_piece = place.size() == 3;
        bool const is_split = place.size() >= 2 && place[1] == Step(Json::ArrayIndex{1});
        bool const unbinds = (place.size() == 4 && value.isObject()) || place.back() == Step("cname");
        if ((is_port && value.isObject()) || (is_piece && value.empty()) || (is_split && unbinds)) {
            return true;
        }
        // Without a device of type "mb-tcp" the walk through those of a "base.tcp" port has no end.
        return shown(place) == ".ports[1].devices" && value.isArray();
    });
}

TEST(BrokenConfiguration, PortsAndDevicesOfConnectionsTellOfWrongTypes) {
    for (Path const& place : {Path{"ports", Json::ArrayIndex{0}}, Path{"ports", Json::ArrayIndex{1}},
                              Path{"ports", Json::ArrayIndex{1}, "devices"}}) {
        for (char const* value : {"5", "true", "1.5", "\"text\""}) {
            Json::Value spoilt = json(connection_file);
            at(spoilt, place) = json(value);
            LogCapture const log(false);
            EXPECT_FALSE(loaded(spoilt).empty());
            EXPECT_TRUE(log.has("[3] ")) << shown(place) << " = " << value;
        }
    }
}

TEST(BrokenConfiguration, GroupsOfASplitPortTellOfAWrongType) {
    for (char const* value : {"5", "true", "\"text\"", "{\"a\": 1}"}) {
        Json::Value spoilt = json(connection_file);
        spoilt["ports"][1]["parameters"] = json(value);
        LogCapture const log(false);
        EXPECT_EQ(loaded(spoilt).size(), 3U);
        EXPECT_TRUE(log.has("[3] ")) << value;
    }
}

TEST(BrokenConfiguration, ElementsThatAreNoObjectsCostALineEach) {
    struct Row {
        char const* guards;
        Path list;
    };
    Row const rows[] = {
        {"ports", {"ports"}},
        {"devices", {"ports", Json::ArrayIndex{0}, "devices"}},
        {"parameters", {"ports", Json::ArrayIndex{0}, "devices", Json::ArrayIndex{1}, "params"}},
    };
    Json::Value const file = json(plain_file);
    for (Row const& row : rows) {
        Json::Value spoilt = file;
        Json::Value& list = at(spoilt, row.list);
        Json::Value const good = list;
        list = json(R"([5, "x", null, [], {}, true, 1.5, [{"name": "in a list"}]])");
        for (Json::Value const& element : good) {
            list.append(element);
        }
        LogCapture const log(false);
        EXPECT_EQ(loaded(spoilt), loaded(file)) << row.guards;
        EXPECT_EQ(log.count("Load : элемент без имени будет пропущен."), 8) << row.guards;
    }
}

TEST(BrokenConfiguration, LongAndStrangeTexts) {
    Json::Value file = json(plain_file);
    std::string const strange[] = {
        std::string(100000, 'x'), "%s%n%d", std::string("a\0b", 3), "\xFF\xFE", "{}", "a/b#+"};
    for (std::string const& text : strange) {
        for (char const* key : {"name", "type", "unit", "error_value", "value_type", "reg_type", "converter_read"}) {
            LogCapture const log(false);
            Json::Value spoilt = file;
            spoilt["ports"][0]["devices"][0]["params"][0][key] = text;
            spoilt["ports"][0]["devices"][0]["params"][2] = json("{}");
            std::set<std::string> const left = loaded(spoilt);
            EXPECT_EQ(left.count("p0/d0_17/b"), 1U) << key << ' ' << text.substr(0, 10);
            EXPECT_GE(left.size(), 6U) << key << ' ' << text.substr(0, 10);
        }
    }
}
