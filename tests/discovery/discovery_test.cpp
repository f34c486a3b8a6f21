#include "discovery/discovery.h"

#include <map>
#include <set>

#include <gtest/gtest.h>

#include "ctl/check/loading.h"
#include "discovery/ids.h"
#include "foundation/jutils.h"
#include "support/log_capture.h"
#include "support/sample_config.h"
#include "support/temp_folder.h"

namespace {

std::map<std::string, Json::Value> messages_of(std::string const& config) {
    LogCapture const log(false);
    TempFolder const folder;
    Loading const loading(folder.write("c.json", config));
    std::map<std::string, Json::Value> found;
    for (RetainedMessage const& message : discovery_messages(
             list_topics(*loading.config, loading.gpio.get(), IdlePorts(*loading.config)), loading.config->broker)) {
        std::string errors;
        EXPECT_TRUE(xCommon::jUtils::parse_file(message.payload, found[message.topic], errors, true)) << errors;
    }
    return found;
}

/// A port with one device and one parameter, without what ends them.
constexpr char rtu[] = R"("type": "base.rs", "rs": {"path": "/x"}, "devices": [{"name": "d", "type": "mb-rtu", "sid": 1,
    "params": [{"name": "a", "reg_addr": 1, )";
constexpr char media[] = R"("type": "base.rs", "rs": {"path": "/x"}, "devices": [{"name": "d", "type": "media_ctrl",
    "sid": 1, "params": [{"name": "a", )";
constexpr char dcon[] = R"("type": "base.rs", "rs": {"path": "/x"}, "devices": [{"name": "d", "type": "dcon", "sid": 1,
    "params": [{"name": "a", "type": "dcon", )";
constexpr char set4tm[] = R"("type": "base.rs", "rs": {"path": "/x"}, "devices": [{"name": "d", "type": "set-4tm",
    "sid": 1, "params": [{"name": "a", )";
constexpr char pulsar[] = R"("type": "base.tcp", "tcp": {"port": 1}, "devices": [{"name": "d", "type": "pulsar-tcp",
    "sid": 1, "delay": 0, "type_device": "water_meter", "params": [{"name": "a", )";
constexpr char dlms[] = R"("type": "dlms.tcp", "tcp": {"port": 1}, "devices": [{"name": "d", "display_name": "Газ",
    "sn": "1", "params": [{"name": "a", "class_id": 3, "attr_id": 2, )";
constexpr char zigbee[] = R"("type": "base.z2t", "zigbee": {"address": "A"}, "devices": [{"name": "d", "type": "z2t",
    "cname": "c", "sid": "0x1", "params": [{"name": "a", "z2t_name": "P", )";
constexpr char bit[] = R"("value_type": "u16", "bh_list": [{"name": "b", "offset": 0, "inverted": true}], )";

}  // namespace

TEST(Discovery, ComponentAndKeysGoByKindUnitAndPresence) {
    struct Row {
        std::string port;
        std::string param;
        std::string component;
        std::string keys;  ///< null stands for one that isn't there
        char const* mqtt = "";
    };
    constexpr char status[] = R"(, "status_topic": "s")";
    constexpr char both[] = R"(, "status_topic": "s", "availability": true)";
    std::string const port_state =
        R"({"topic": "s/port/p", "payload_available": "online", "payload_not_available": "offline"})";
    std::string const device_state =
        R"({"topic": "/devices/d_1/meta/available", "payload_available": "1", "payload_not_available": "0"})";
    Row const rows[] = {
        {rtu, R"("value_type": "i16", "unit": "°C", "scale": 0.1)", "sensor",
         R"("name": "a", "state_topic": "/devices/d_1/controls/a", "command_topic": null, "min": null,
            "unit_of_measurement": "°C", "device_class": "temperature", "state_class": "measurement",
            "value_template": "{{ value.split(' ')[0] }}", "unique_id": "gw-d_1-a", "availability": null,
            "device": {"identifiers": ["gw-d_1"], "name": "d_1", "model": "mb-rtu", "via_device": "gw"})"},
        {rtu, R"("value_type": "i16", "unit": "V", "scale": 0.1, "read_only": false)", "number",
         R"("command_topic": "/devices/d_1/controls/a/on", "min": -3276.8, "max": 3276.7, "step": 0.1,
            "state_class": null, "device_class": "voltage")"},
        {rtu, R"("value_type": "u16", "read_only": false)", "number",
         R"("min": 0, "max": 65535, "step": 1, "value_template": null, "unit_of_measurement": null)"},
        {rtu, R"("value_type": "u32", "scale": -0.01, "min": -5.5, "read_only": false)", "number",
         R"("min": -5.5, "max": 0, "step": 0.01)"},
        {rtu, R"("value_type": "i32", "scale": 1e-5, "max": 7, "read_only": false)", "number",
         R"("min": -21474.83648, "max": 7, "step": 0.001)"},
        {rtu, R"("value_type": "float32", "read_only": false)", "number", R"("max": 3.40282346638529e+38, "step": 1)"},
        {rtu, R"("value_type": "u16", "converter_write": "value - 9", "read_only": false)", "number",
         R"("min": -3.40282346638529e+38)"},
        {rtu, R"("value_type": "str4")", "sensor", R"("state_class": null)"},
        {rtu, R"("value_type": "str4", "read_only": false)", "text", R"("min": null)"},
        {rtu, R"("value_type": "bit", "unit": "x", "reg_type": "status")", "binary_sensor",
         R"("payload_on": "1 x", "payload_off": "0 x")"},
        {rtu, R"("value_type": "bit", "reg_type": "coil", "read_only": false)", "switch",
         R"("payload_on": "1", "payload_off": "0", "state_on": null)"},
        {rtu, std::string(bit) + R"("reg_type": "holding-bit", "read_only": false)", "switch",
         R"("state_topic": "/devices/d_1/controls/a_b", "payload_on": "1", "payload_off": "0", "state_on": "0",
            "state_off": "1", "unique_id": "gw-d_1-a_b")"},
        {rtu, std::string(bit) + R"("reg_type": "input-bit")", "binary_sensor", R"("payload_on": "1")"},
        {rtu, R"("unit": "kWh")", "sensor", R"("device_class": "energy", "state_class": "total_increasing")"},
        {rtu, R"("unit": "m3")", "sensor",
         R"("unit_of_measurement": "m³", "device_class": "volume", "state_class": null)"},
        {rtu, R"("unit": "rpm")", "sensor", R"("unit_of_measurement": "rpm", "device_class": null)"},
        {rtu, R"("enabled": false)", "", ""},
        {rtu, R"("unit": "")", "sensor", R"("availability_mode": "all", "availability": [)" + port_state + "]", status},
        {rtu, R"("unit": "")", "sensor", R"("availability": [)" + port_state + ", " + device_state + "]", both},
        {dcon, R"("cmd": 15)", "text", R"("state_topic": null, "availability": [)" + port_state + "]", both},
        {media, R"("unit": "")", "text", R"("command_topic": "/devices/d/controls/a/on")"},
        {set4tm, R"("command": 1, "param": 1)", "", ""},
        {pulsar, R"("parameter_number": 1, "unit": "m3")", "sensor", R"("device_class": "water")"},
        {dlms, R"("object_id": "7.0.3.0.0.255", "unit": "m3")", "sensor", R"("device_class": "gas",
            "device": {"identifiers": ["gw-d"], "name": "Газ", "model": "dlms.tcp", "via_device": "gw"})"},
        {zigbee, R"("value_type": "bit", "unit": "x", "read_only": false)", "switch",
         R"("state_topic": "/devices/c_0x1/controls/a", "state_on": null)"},
    };
    for (Row const& row : rows) {
        auto const found = messages_of(R"({"mqtt": {"discovery": {"node": "gw"})" + std::string(row.mqtt) +
                                       R"(}, "ports": [{"name": "p", )" + row.port + row.param + "}]}]}]}");
        ASSERT_EQ(found.size(), row.component.empty() ? 0U : 1U) << row.port << row.param;
        Json::Value const expected = sample::json("{" + row.keys + "}");
        for (std::string const& key : expected.getMemberNames()) {
            Json::Value const& json = found.begin()->second;
            EXPECT_TRUE(found.begin()->first.starts_with("homeassistant/" + row.component + "/gw/")) << row.param;
            EXPECT_EQ(json[key], expected[key]) << key << row.param << json.toStyledString();
        }
    }
}

TEST(Discovery, GpioChannels) {
    auto found = messages_of(R"({
        "mqtt": {"status_topic": "s", "availability": true, "discovery": {"node": "gw", "prefix": "h/a/"}},
        "ports": [{"connection": {"type": "xgpio", "enabled": true, "wto": 500},
                   "devices": [{"name": "io", "type": "xgpio", "cname": "c"}],
                   "parameters": [{"cname": "c", "config": {"channels": [
                       {"name": "in", "gpio": 1}, {"name": "out", "gpio": 2, "direction": "output"},
                       {"name": "n", "gpio": 3, "type": "water", "direction": "output"}]}}]}]})");
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found["h/a/binary_sensor/gw/io-in/config"]["state_topic"], "/devices/io/controls/in");
    EXPECT_EQ(found["h/a/switch/gw/io-out/config"]["command_topic"], "/devices/io/controls/out/on");
    Json::Value const counter = found["h/a/sensor/gw/io-n/config"];
    EXPECT_EQ(counter["state_topic"], "/devices/io/controls/n_total");
    EXPECT_EQ(counter["command_topic"], Json::Value());
    ASSERT_EQ(counter["availability"].size(), 1U);
    EXPECT_EQ(counter["availability"][0]["topic"], "s/port/io");
}

TEST(Discovery, NothingForTwoOfANameAndForWhatNoTopicCanHave) {
    std::string const head = R"({"ports": [{"name": "p", )" + std::string(rtu) + R"("unit": ""}]}]}, {"name": "q", )" +
                             rtu + R"("read_only": false}, {"name": "a+", "reg_addr": 1}]}]}])";
    EXPECT_EQ(messages_of(head + R"(, "mqtt": {"discovery": {"node": "Щит"}}})").size(), 1U);
    EXPECT_TRUE(messages_of(head + "}").empty());
}

TEST(Discovery, IdsAreTransliteratedAndNeverTheSame) {
    std::set<std::string> seen;
    struct Row {
        char const* device;
        char const* parameter;
        std::string id;
    };
    for (Row const& row :
         {Row{"boiler_17", "set_point", "boiler_17-set_point"}, Row{"a-b", "c", "a-b-c-"}, Row{"a", "b-c", "a-b-c-"},
          Row{"Щит", "Ёмкость №2", "Shchit-Yomkost__2-"}, Row{"Щит", "Ёмкость #2", "Shchit-Yomkost__2-"},
          Row{"a b", "°", "a_b-_-"}, Row{"a.b", "\xFF", "a_b-_-"}, Row{"Объём", "яЯ", "Obyom-yaYa-"}}) {
        std::string const id = ids::of(row.device, row.parameter);
        EXPECT_TRUE(id.starts_with(row.id) && id.size() == row.id.size() + (row.id.back() == '-' ? 8 : 0)) << id;
        EXPECT_TRUE(seen.insert(id).second) << id;
    }
    EXPECT_EQ(discovery_filter({"h", "gw-7"}), "h/+/gw-7/+/config");
    EXPECT_TRUE(discovery_filter({"h", "Шлюз 7"}).starts_with("h/+/Shlyuz_7-"));
}
