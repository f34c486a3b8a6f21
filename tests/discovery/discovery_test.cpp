#include "discovery/discovery.h"

#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/check/loading.h"
#include "discovery/ids.h"
#include "foundation/jutils.h"
#include "support/log_capture.h"
#include "support/sample_config.h"
#include "support/temp_folder.h"

namespace {

std::vector<RetainedMessage> messages_of(Json::Value const& config) {
    TempFolder const folder;
    Loading const loading(folder.write("c.json", config.toStyledString()));
    EXPECT_TRUE(loading.config) << config;
    IdlePorts const ports(*loading.config);
    return discovery_messages(list_topics(*loading.config, loading.gpio.get(), ports), loading.config->broker);
}

/// A port with one device and one parameter, all with keys beside their names.
Json::Value one(std::string const& port, std::string const& device, std::string const& param,
                std::string const& mqtt = "") {
    return sample::json(R"({"mqtt": {"port": 1, "discovery": {"node": "gw"})" + mqtt +
                        R"(}, "ports": [{"name": "p", )" + port + R"(, "devices": [{"name": "d", )" + device +
                        R"(, "params": [{"name": "a", )" + param + "}]}]}]}");
}

Json::Value parsed(std::string const& payload) {
    Json::Value json;
    std::string errors;
    EXPECT_TRUE(xCommon::jUtils::parse_file(payload, json, errors, true)) << payload << errors;
    return json;
}

constexpr char line[] = R"("type": "base.rs", "rs": {"path": "/dev/x"})";
constexpr char modbus[] = R"("type": "mb-rtu", "sid": 1)";
constexpr char dlms[] = R"("type": "dlms.tcp", "tcp": {"port": 1})";
constexpr char zigbee[] = R"("type": "base.z2t", "zigbee": {"address": "A"})";
constexpr char bulb[] = R"("type": "z2t", "cname": "c", "sid": "0x1")";

}  // namespace

TEST(Discovery, ComponentAndKeysGoByKindAndUnit) {
    struct Row {
        char const* port;
        char const* device;
        char const* param;
        char const* component;
        /// Of the message; null stands for a key that isn't there.
        char const* keys;
    };
    constexpr char pulsar[] = R"("type": "base.tcp", "tcp": {"port": 1})";
    Row const rows[] = {
        {line, modbus, R"("reg_addr": 1, "value_type": "i16", "scale": 0.1, "unit": "°C")", "sensor",
         R"({"state_topic": "/devices/d_1/controls/a", "command_topic": null, "unit_of_measurement": "°C",
             "device_class": "temperature", "state_class": "measurement", "name": "a", "min": null,
             "value_template": "{{ value.split(' ')[0] }}", "unique_id": "gw-d_1-a", "availability": null,
             "device": {"identifiers": ["gw-d_1"], "name": "d_1", "model": "mb-rtu", "via_device": "gw"}})"},
        {line, modbus, R"("reg_addr": 1, "value_type": "i16", "scale": 0.1, "unit": "°C", "read_only": false)",
         "number", R"({"command_topic": "/devices/d_1/controls/a/on", "min": -3276.8, "max": 3276.7, "step": 0.1,
                       "state_class": null, "device_class": "temperature"})"},
        {line, modbus, R"("reg_addr": 1, "value_type": "u16", "read_only": false)", "number",
         R"({"min": 0, "max": 65535, "step": 1, "value_template": null, "unit_of_measurement": null})"},
        {line, modbus, R"("reg_addr": 1, "value_type": "u32", "scale": -0.01, "min": -5.5, "read_only": false)",
         "number", R"({"min": -5.5, "max": 0, "step": 0.01})"},
        {line, modbus, R"("reg_addr": 1, "value_type": "i32", "scale": 1e-5, "max": 7, "read_only": false)", "number",
         R"({"min": -21474.83648, "max": 7, "step": 0.001})"},
        {line, modbus, R"("reg_addr": 1, "value_type": "float32", "read_only": false)", "number",
         R"({"min": -3.40282346638529e+38, "max": 3.40282346638529e+38, "step": 1})"},
        {line, modbus, R"("reg_addr": 1, "value_type": "u16", "converter_write": "value - 9", "read_only": false)",
         "number", R"({"min": -3.40282346638529e+38})"},
        {line, modbus, R"("reg_addr": 1, "value_type": "str4")", "sensor", R"({"state_class": null})"},
        {line, modbus, R"("reg_addr": 1, "value_type": "str4", "read_only": false)", "text", R"({"min": null})"},
        {line, modbus, R"("reg_addr": 1, "reg_type": "status", "value_type": "bit")", "binary_sensor",
         R"({"payload_on": "1", "payload_off": "0", "state_on": null})"},
        {line, modbus, R"("reg_addr": 1, "reg_type": "status", "value_type": "bit", "unit": "x")", "binary_sensor",
         R"({"payload_on": "1 x", "payload_off": "0 x"})"},
        {line, modbus, R"("reg_addr": 1, "reg_type": "coil", "value_type": "bit", "read_only": false)", "switch",
         R"({"payload_on": "1", "payload_off": "0", "state_on": null})"},
        {line, modbus, R"("reg_addr": 1, "reg_type": "holding-bit", "value_type": "u16", "read_only": false,
                          "bh_list": [{"name": "b", "offset": 0, "inverted": true}])",
         "switch", R"({"state_topic": "/devices/d_1/controls/a_b", "payload_on": "1", "payload_off": "0",
                       "state_on": "0", "state_off": "1", "unique_id": "gw-d_1-a_b"})"},
        {line, modbus, R"("reg_addr": 1, "reg_type": "input-bit", "value_type": "u16",
                          "bh_list": [{"name": "b", "offset": 0, "inverted": true}])",
         "binary_sensor", R"({"payload_on": "1", "payload_off": "0"})"},
        {line, modbus, R"("reg_addr": 1, "value_type": "u16", "unit": "kWh")", "sensor",
         R"({"device_class": "energy", "state_class": "total_increasing"})"},
        {line, modbus, R"("reg_addr": 1, "value_type": "u16", "unit": "m3")", "sensor",
         R"({"unit_of_measurement": "m³", "device_class": "volume", "state_class": null})"},
        {line, modbus, R"("reg_addr": 1, "value_type": "u16", "unit": "rpm")", "sensor",
         R"({"unit_of_measurement": "rpm", "device_class": null, "state_class": null})"},
        {pulsar, R"("type": "pulsar-tcp", "sid": 1, "delay": 0, "type_device": "water_meter")",
         R"("parameter_number": 1, "unit": "m3")", "sensor", R"({"device_class": "water"})"},
        {dlms, R"("sn": "1")", R"("class_id": 3, "object_id": "7.0.3.0.0.255", "attr_id": 2, "unit": "m3")", "sensor",
         R"({"device_class": "gas", "device": {"identifiers": ["gw-d"], "name": "d", "model": "dlms.tcp",
                                               "via_device": "gw"}})"},
        {line, R"("type": "media_ctrl", "sid": 1)", R"("unit": "V")", "text",
         R"({"state_topic": null, "command_topic": "/devices/d/controls/a/on"})"},
        {line, R"("type": "set-4tm", "sid": 1)", R"("command": 1, "param": 1)", "", ""},
        {line, modbus, R"("reg_addr": 1, "value_type": "u16", "enabled": false)", "", ""},
        {zigbee, bulb, R"("z2t_name": "P", "value_type": "bit", "unit": "x", "read_only": false)", "switch",
         R"({"state_topic": "/devices/c_0x1/controls/a", "state_on": null})"},
        {R"("type": "snmp")", R"("url": "::1")", R"("oid": "1.3.6")", "sensor", R"({"state_class": null})"},
    };
    LogCapture const log(false);
    for (Row const& row : rows) {
        std::vector<RetainedMessage> const messages = messages_of(one(row.port, row.device, row.param));
        ASSERT_EQ(messages.size(), *row.component == '\0' ? 0U : 1U) << row.device << row.param;
        if (messages.empty()) {
            continue;
        }
        EXPECT_TRUE(messages[0].topic.starts_with("homeassistant/" + std::string(row.component) + "/gw/"))
            << messages[0].topic << row.param;
        Json::Value const json = parsed(messages[0].payload);
        Json::Value const expected = sample::json(row.keys);
        for (std::string const& key : expected.getMemberNames()) {
            EXPECT_EQ(json[key], expected[key]) << key << row.param << messages[0].payload;
        }
    }
}

TEST(Discovery, AvailabilityIsAllThatIsPublishedOfIt) {
    struct Row {
        char const* device;
        char const* param;
        char const* mqtt;
        std::set<std::string> topics;
    };
    std::string const state = "gateways/7/port/p online";
    std::string const device = "/devices/d_1/meta/available 1";
    constexpr char both[] = R"(, "status_topic": "gateways/7", "availability": true)";
    for (Row const& row :
         {Row{modbus, R"("reg_addr": 1, "value_type": "u16")", both, {state, device}},
          Row{modbus, R"("reg_addr": 1, "value_type": "u16")", R"(, "status_topic": "gateways/7")", {state}},
          Row{modbus, R"("reg_addr": 1, "value_type": "u16")", R"(, "availability": true)", {device}},
          Row{R"("type": "dcon", "sid": 1)", R"("type": "dcon", "cmd": 15)", both, {state}},
          Row{R"("type": "media_ctrl", "sid": 1)", R"("unit": "")", both, {state, "/devices/d/meta/available 1"}}}) {
        LogCapture const log(false);
        std::vector<RetainedMessage> const messages = messages_of(one(line, row.device, row.param, row.mqtt));
        ASSERT_EQ(messages.size(), 1U);
        Json::Value const json = parsed(messages[0].payload);
        std::set<std::string> topics;
        for (Json::Value const& source : json["availability"]) {
            topics.insert(source["topic"].asString() + " " + source["payload_available"].asString());
        }
        EXPECT_EQ(topics, row.topics) << messages[0].payload;
        EXPECT_EQ(json["availability_mode"], "all");
    }
}

TEST(Discovery, GpioChannels) {
    LogCapture const log(false);
    std::vector<RetainedMessage> const messages = messages_of(sample::json(R"({
        "mqtt": {"port": 1, "status_topic": "s", "availability": true, "discovery": {"node": "gw", "prefix": "h/a/"}},
        "ports": [{"connection": {"type": "xgpio", "enabled": true, "wto": 500},
                   "devices": [{"name": "io", "type": "xgpio", "cname": "c"}],
                   "parameters": [{"cname": "c", "config": {"channels": [
                       {"name": "in", "gpio": 1}, {"name": "out", "gpio": 2, "direction": "output"},
                       {"name": "n", "gpio": 3, "type": "water", "direction": "output"}]}}]}]})"));
    std::map<std::string, Json::Value> found;
    for (RetainedMessage const& message : messages) {
        found[message.topic] = parsed(message.payload);
    }
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found["h/a/binary_sensor/gw/io-in/config"]["state_topic"], "/devices/io/controls/in");
    EXPECT_EQ(found["h/a/switch/gw/io-out/config"]["command_topic"], "/devices/io/controls/out/on");
    Json::Value const counter = found["h/a/sensor/gw/io-n/config"];
    EXPECT_EQ(counter["state_topic"], "/devices/io/controls/n_total");
    EXPECT_EQ(counter["command_topic"], Json::Value());
    EXPECT_EQ(counter["state_class"], "total_increasing");
    EXPECT_EQ(counter["device"]["model"], "xgpio");
    ASSERT_EQ(counter["availability"].size(), 1U);
    EXPECT_EQ(counter["availability"][0]["topic"], "s/port/io");
}

TEST(Discovery, IdsAreTransliteratedAndNeverTheSame) {
    struct Row {
        char const* device;
        char const* parameter;
        char const* id;
    };
    std::set<std::string> seen;
    for (Row const& row : {
             Row{"boiler_17", "set_point", "boiler_17-set_point"},
             Row{"a-b", "c", "a-b-c-"},
             Row{"a", "b-c", "a-b-c-"},
             Row{"Щит", "Ёмкость №2", "Shchit-Yomkost__2-"},
             Row{"Щит", "Ёмкость #2", "Shchit-Yomkost__2-"},
             Row{"Объём", "яЯ", "Obyom-yaYa-"},
             Row{"a b", "°", "a_b-_-"},
             Row{"a.b", "\xFF", "a_b-_-"},
         }) {
        std::string const id = ids::of(row.device, row.parameter);
        bool const is_hashed = std::string(row.id).ends_with('-');
        EXPECT_TRUE(id.starts_with(row.id) && id.size() == std::string(row.id).size() + (is_hashed ? 8 : 0)) << id;
        EXPECT_EQ(id.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-"),
                  std::string::npos);
        EXPECT_TRUE(seen.insert(id).second) << id;
    }
    EXPECT_EQ(ids::of("gw-7"), "gw-7");
    std::string const filter = discovery_filter({"homeassistant", "Шлюз 7"});
    EXPECT_TRUE(filter.starts_with("homeassistant/+/Shlyuz_7-") && filter.ends_with("/+/config")) << filter;
}

TEST(Discovery, NothingForTwoOfANameAndForWhatNoTopicCanHave) {
    LogCapture const log(false);
    Json::Value config = one(line, modbus, R"("reg_addr": 1, "value_type": "u16")");
    config["ports"].append(config["ports"][0]);
    config["ports"][1]["name"] = "q";
    Json::Value& params = config["ports"][1]["devices"][0]["params"];
    params[0]["read_only"] = false;
    params.append(params[0])["name"] = "a+";
    EXPECT_EQ(messages_of(config).size(), 1U);
    config["mqtt"].removeMember("discovery");
    EXPECT_TRUE(messages_of(config).empty());
}
