#include <algorithm>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/writer.h>

#include "app/normalise.h"
#include "config/config.h"
#include "config/constants.h"
#include "config/cport.h"
#include "runtime/ibase.h"
#include "support/log_capture.h"
#include "support/sample_config.h"

// A wrong value in every place of a file, one at a time. The fault may cost the element that it stands in, with a line
// in the log, and nothing else.

namespace {

using sample::json;

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

/// Paths of all places, such as ".ports[0].name".
void collect(Json::Value const& node, std::string const& here, std::vector<std::string>& found) {
    if (!here.empty()) {
        found.push_back(here);
    }
    for (auto child = node.begin(); child != node.end(); ++child) {
        collect(*child, here + (node.isObject() ? "." + child.name() : "[" + std::to_string(child.index()) + "]"),
                found);
    }
}

Json::Value& at(Json::Value& root, std::string const& path) {
    return Json::Path(path).make(root);
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

/// Puts every wrong value in every place but those left out; `of_element` tells whether a parameter of the tree belongs
/// to the element that the place lies in.
template <typename Belongs, typename Skip>
void spoil_everywhere(Json::Value const& file, Belongs of_element, Skip skipped) {
    Json::Value const wrong_values =
        json(R"([{}, [], "", "text", 5, -1, 1.5, 1e300, true, null, [null], [5, "x", {}], {"a": [1]}])");
    std::set<std::string> const whole = loaded(file);
    std::vector<std::string> places;
    collect(file, "", places);
    for (std::string const& place : places) {
        for (Json::Value const& value : wrong_values) {
            if (skipped(place, value)) {
                continue;
            }
            Json::Value spoilt = file;
            at(spoilt, place) = value;
            SCOPED_TRACE(place + " = " + Json::FastWriter().write(value));
            LogCapture const log(false);
            std::set<std::string> const left = loaded(spoilt);
            for (std::string const& name : whole) {
                // The address of the broker, the log and the list of ports are everybody's.
                EXPECT_TRUE(left.contains(name) || !place.starts_with(".ports[") || of_element(place, name))
                    << "lost : " << name;
            }
            EXPECT_TRUE(left.size() >= whole.size() || log.has("[3] ")) << "no line tells of it";
        }
    }
}

/// What the expression finds at the beginning of the place; empty for nothing.
std::string found(std::string const& place, char const* expression) {
    std::smatch match;
    return std::regex_search(place, match, std::regex("^" + std::string(expression))) ? match.str() : "";
}

}  // namespace

TEST(BrokenConfiguration, PlainFile) {
    Json::Value file = json(plain_file);
    ASSERT_EQ(loaded(file).size(), 7U);
    auto const of_element = [&file](std::string const& place, std::string const& param) {
        std::string prefix = at(file, found(place, R"(\.ports\[\d+\])"))["name"].asString() + "/";
        std::string const device = found(place, R"(\.ports\[\d+\]\.devices\[\d+\])");
        if (!device.empty()) {
            prefix += at(file, device)["name"].asString() + "_" + at(file, device)["sid"].asString() + "/";
        }
        std::string const node = found(place, R"(\.ports\[\d+\]\.devices\[\d+\]\.params\[\d+\])");
        return param.starts_with(prefix + (node.empty() ? "" : at(file, node)["name"].asString()));
    };
    spoil_everywhere(file, of_element, [](auto const& /*place*/, auto const& /*value*/) { return false; });
}

TEST(BrokenConfiguration, ConnectionFile) {
    Json::Value file = json(connection_file);
    ASSERT_EQ(loaded(file).size(), 5U);
    auto const of_element = [&file](std::string const& place, std::string const& param) {
        return param.starts_with(at(file, found(place, R"(\.ports\[\d+\])"))["connection"]["name"].asString());
    };
    spoil_everywhere(file, of_element, [](std::string const& place, Json::Value const& value) {
        // A port of which a piece is empty is left out without a word, and so is what becomes of a split port whose
        // device has no group.
        bool const is_port = found(place, R"(\.ports\[\d+\]$)") == place;
        bool const is_piece = found(place, R"(\.ports\[\d+\]\.\w+$)") == place;
        bool const unbinds = place.starts_with(".ports[1]") &&
                             (place.ends_with(".cname") ||
                              (value.isObject() && found(place, R"(\.ports\[1\]\.\w+(\[\d+\]|\.\w+)$)") == place));
        // Without a device of type "mb-tcp" the walk through those of a "base.tcp" port has no end.
        return (is_port && value.isObject()) || (is_piece && value.empty()) || unbinds ||
               (place == ".ports[1].devices" && value.isArray());
    });
}

TEST(BrokenConfiguration, PiecesOfConnectionsTellOfWrongTypes) {
    for (char const* place : {".ports[0]", ".ports[1]", ".ports[1].devices", ".ports[1].parameters"}) {
        for (char const* value : {"5", "true", "1.5", "\"text\""}) {
            Json::Value spoilt = json(connection_file);
            at(spoilt, place) = json(value);
            LogCapture const log(false);
            EXPECT_GE(loaded(spoilt).size(), 3U);
            EXPECT_TRUE(log.has("[3] ")) << place << " = " << value;
        }
    }
}

TEST(BrokenConfiguration, ElementsThatAreNoObjectsCostALineEach) {
    Json::Value const file = json(plain_file);
    for (char const* place : {".ports", ".ports[0].devices", ".ports[0].devices[1].params"}) {
        Json::Value spoilt = file;
        Json::Value& list = at(spoilt, place);
        Json::Value const good = list;
        list = json(R"([5, "x", null, [], {}, true, 1.5, [{"name": "in a list"}]])");
        for (Json::Value const& element : good) {
            list.append(element);
        }
        LogCapture const log(false);
        EXPECT_EQ(loaded(spoilt), loaded(file)) << place;
        EXPECT_EQ(log.count("Load : элемент без имени будет пропущен."), 8) << place;
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
