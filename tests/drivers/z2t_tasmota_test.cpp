// The Zigbee driver on a port without its worker: what becomes of each message of the bridge and of each write.

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/config.h"
#include "ctl/line/wait_until.h"
#include "drivers/z2t_tasmota/device.h"
#include "runtime/port_base.h"
#include "support/broker.h"
#include "support/log_capture.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"

using std::chrono::seconds;
using testing::UnorderedElementsAreArray;
using xCommon::xString;
using Texts = std::vector<std::string>;

namespace {

std::unique_ptr<Config> load(std::string const& devices, int broker_port = 0) {
    Json::Value root = sample::json(
        R"({"ports": [{"name": "zb", "type": "base.z2t", "zigbee": {"address": "1"}, "devices": [)" + devices + "]}]}");
    root["mqtt"]["port"] = broker_port;
    return std::unique_ptr<Config>(Config::Load(root));
}

/// A port at a broker, and what it publishes there.
class Port {
 public:
    explicit Port(std::string const& devices)
        : config_(load(devices, broker_.port())),
          probe_(broker_.port()),
          port(nullptr, dynamic_cast<CPort*>(config_->ports.children.at(0).get())) {
        port.mq_start();
        if (!wait_until([this] { return port.mq_publish("end", "", 2, false); }, seconds(5))) {
            throw std::runtime_error("no connection");
        }
    }

    /// "device/control=text" of each publication that one message leads to.
    Texts take(std::string topic, std::string payload) {
        std::string const end = std::to_string(++messages_);
        size_t const since = probe_.mark();
        port.ProcMessage(topic, payload);
        port.mq_publish("end", end, 2, false);
        EXPECT_TRUE(probe_.wait_for("end", end, seconds(5), since));
        Texts published;
        for (MqttMessage const& message : probe_.messages(since)) {
            if (message.topic != "end") {
                std::string const place = xString::Replace(message.topic, "/devices/", "");
                published.push_back(xString::Replace(place, "/controls/", "/") + "=" + message.payload);
            }
        }
        return published;
    }
    Texts report(std::string const& payload) { return take("tele/zb_1/SENSOR", payload); }

 private:
    Broker broker_;
    std::unique_ptr<Config> config_;
    MqttProbe probe_;
    int messages_ = 0;

 public:
    PortBase port;
};

constexpr char first[] = R"({"name": "a", "type": "z2t", "cname": "a", "sid": "2", "params": [
    {"name": "t", "z2t_name": "T", "value_type": "float32", "scale": 1, "min": 0, "max": 50, "unit": "°C"},
    {"name": "sw", "z2t_name": "P", "read_only": false},
    {"name": "too", "z2t_name": "P", "value_type": "u16", "min": 7, "unit": "V"},
    {"name": "dim", "z2t_name": "D", "read_only": false, "scale": 2}]})";
constexpr char second[] = R"({"name": "b", "type": "z2t", "cname": "b", "sid": "4", "params": [
    {"name": "t", "z2t_name": "T", "value_type": "float32", "unit": "°C", "read_only": false}]})";
constexpr char hub[] = R"({"name": "hub", "type": "z2t", "cname": "z2t_tasmota", "sid": "0"})";

struct Row {
    char const* guards;
    std::string payload;
    Texts published;
    Texts errors = {};
};

void expect_all(Port& port, std::vector<Row> const& rows) {
    for (Row const& row : rows) {
        LogCapture const log(false);
        EXPECT_THAT(port.take("tele/zb_1/SENSOR", row.payload), UnorderedElementsAreArray(row.published)) << row.guards;
        EXPECT_EQ(log.entries(), row.errors) << row.guards;
    }
}

std::string about_first(std::string const& values) {
    return R"({"ZbReceived": {"2": )" + values + "}}";
}

}  // namespace

TEST(ZigbeeConfig, WhatADeviceNeeds) {
    std::string const good = R"("params": [{"name": "p", "z2t_name": "P"}])";
    std::string const empty = "#d : ctor : устройство не содержит ни одного параметра.";
    std::string const cases[][2] = {
        {R"("sid": "s", "cname": "c", )" + good, ""},
        {R"("cname": "c", )" + good, "#d : ctor : не указан аргумент 'sid'."},
        {R"("sid": "s", )" + good, "#d : ctor : не указан аргумент 'cname'."},
        {R"("sid": "s", "cname": null, )" + good, "#d : ctor : не указан аргумент 'cname'."},
        {R"("sid": "s", "cname": "c")", empty},
        {R"("sid": "s", "cname": "c", "params": [{"name": "p"}])", "Отсутствует параметр z2t_name"},
        {R"("sid": "s", "cname": "c", "params": [{"name": "p", "z2t_name": ""}])", "Не указано имя параметра z2t_name"},
    };
    for (auto const& [keys, error] : cases) {
        LogCapture const log(false);
        auto const config = load(R"({"name": "d", "type": "z2t", )" + keys + "}");
        EXPECT_EQ(config->ports.children.size(), error.empty() ? 1U : 0U) << keys;
        EXPECT_EQ(log.count(error), error.empty() ? 0 : 1) << keys;
    }
    // Behind the bridge, not ahead of it.
    std::string const bare = R"({"name": "d", "type": "z2t", "sid": "s", "cname": "c"})";
    EXPECT_EQ(load(bare + "," + hub + "," + bare)->ports.children.at(0)->children.size(), 2U);
    Json::Value node = sample::json(bare);
    EXPECT_THROW(z2t_tasmota::config_device_t(nullptr, node), std::exception);
}

TEST(ZigbeeDevice, Reports) {
    Port port(std::string(first) + "," + second);
    std::string const refused = "[3] [t] значение вне пределов диапазона : min = 0.00 : value = ";
    std::string const no_text = " значение не является текстом или числом : ";
    expect_all(
        port,
        {
            {"known and unknown", about_first(R"({"P": 1, "Name": "x", "L": [1]})"), {"a_2/sw=1", "a_2/too=1"}},
            {"several", about_first(R"({"T": 21.3, "P": "on"})"), {"a_2/t=21.30 °C", "a_2/sw=on", "a_2/too=on"}},
            {"the other device", R"({"ZbReceived": {"4": {"T": 21.3}}})", {"b_4/t=21.300000000000001 °C"}},
            {"other keys", R"({"A": 1, "ZbReceived": {"4": {"T": 2}}, "ZbX": {"4": {"T": 3}}})", {"b_4/t=2 °C"}},
            {"numbers", about_first(R"({"P": -3, "D": 1e3})"), {"a_2/sw=-3", "a_2/too=-3", "a_2/dim=1000.0"}},
            {"a boolean", about_first(R"({"D": true})"), {"a_2/dim=true"}},
            {"null", about_first(R"({"D": null, "T": null})"), {"a_2/dim=", "a_2/t="}},
            {"an object, a list and a value",
             about_first(R"({"T": {"a": 1}, "D": [2], "P": 1})"),
             {"a_2/sw=1", "a_2/too=1"},
             {"[3] [t]" + no_text + "T.", "[3] [dim]" + no_text + "D."}},
            {"the lower limit", about_first(R"({"T": 0})"), {"a_2/t=0.00 °C"}},
            {"the upper limit", about_first(R"({"T": 50})"), {"a_2/t=50.00 °C"}},
            {"below", about_first(R"({"T": -0.5})"), {"a_2/t/meta/error=r"}, {refused + "-0.50 : max = 50.00."}},
            {"above", about_first(R"({"T": 50.5})"), {"a_2/t/meta/error=r"}, {refused + "50.50 : max = 50.00."}},
            {"two devices, the first one alone", R"({"ZbReceived": {"2": {"D": 1}, "4": {"T": 1}}})", {"a_2/dim=1"}},
            {"a stranger ahead", R"({"ZbReceived": {"1": {}, "2": {"D": 1}}})", {}},
            {"no member", R"({"ZbReceived": {}})", {}},
            {"null for all", R"({"ZbReceived": null})", {}},
            {"null for the device", about_first("null"), {}},
            {"a list for all",
             R"({"ZbReceived": ["2"]})",
             {},
             {"[3] [zb] ZbReceived : отчёт не является объектом. Пропущен."}},
            {"a text for the device",
             about_first(R"("on")"),
             {},
             {"[3] [a] ZbReceived : отчёт об устройстве не является объектом. Пропущен."}},
            {"a state without a bridge", R"({"ZbState": {"Status": 1}})", {}},
            {"no object", "[1]", {}},
            {"no JSON", R"({"ZbReceived": {"2")", {}},
        });
    EXPECT_EQ(port.port.errors, 2) << "those out of range";
}

TEST(ZigbeeDevice, WritesGoToTheEndpointLastReported) {
    Port port(std::string(first) + "," + second);
    std::string const head = R"(cmnd/zb_1/ZbSend={"Device":"2","Endpoint":)";
    std::string const refused = "[3] [a] ZbReceived : Endpoint не является 32-битным числом. Остаётся 3.";
    std::string const reports[][3] = {{"{}", "-1"},
                                      {R"({"Endpoint": 3})", "3"},
                                      {R"({"Endpoint": null})", "3"},
                                      {R"({"Endpoint": "7"})", "3", refused},
                                      {R"({"Endpoint": 2.0})", "2"},
                                      {"{}", "2"}};
    for (auto const& [values, endpoint, error] : reports) {
        expect_all(port, {{"endpoint", about_first(values), {}, error.empty() ? Texts() : Texts{error}}});
        EXPECT_EQ(port.take("/devices/a_2/controls/sw/on", "1"), Texts{head + endpoint +
                                                                       R"(,"Send":{"P":"1"}})"
                                                                       "\n"});
    }
    char const* const writes[][3] = {
        {"a_2/controls/sw/on", "", R"({"P":""})"},
        {"a_2/controls/sw/on", R"("да")", R"({"P":"\"\u0434\u0430\""})"},
        {"a_2/controls/dim/on", "5", R"({"D":"5"})"},
        // What is no JSON comes by the way of all drivers' writes, which undoes a scale.
        {"a_2/controls/dim/on", "up", R"({"D":"0.000000"})"},
        {"a_2/controls/dim/on", "+1", R"({"D":"0.500000"})"},
        {"a_2/controls/sw/on", R"({"P": 1})", nullptr},  // taken for a message of the bridge
        {"a_2/controls/t/on", "1", nullptr},             // read only
        {"a_2/controls/sw", "1", nullptr},
        {"a_3/controls/sw/on", "1", nullptr},
    };
    for (auto const& [topic, payload, send] : writes) {
        EXPECT_EQ(port.take(std::string("/devices/") + topic, payload),
                  send == nullptr ? Texts() : Texts{head + R"(2,"Send":)" + send + "}\n"})
            << topic << payload;
    }
    EXPECT_EQ(port.take("/devices/b_4/controls/t/on", "x"),
              Texts{R"(cmnd/zb_1/ZbSend={"Device":"4","Endpoint":-1,"Send":{"T":"x"}})"
                    "\n"});
}

TEST(ZigbeeDevice, TheStateOfTheBridge) {
    std::string const error = "[3] [zb] ZbState : Status не является текстом или числом. Пропущен.";
    for (std::string const& sid : Texts{"0", "4"}) {
        Port port(sid == "0" ? std::string(hub) + "," + second : std::string(second) + "," + hub);
        std::string const place = "z2t_tasmota_" + sid + "/status=";
        expect_all(port, {
                             {"a number", R"({"ZbState": {"Status": 22}})", {place + "22"}},
                             {"a text", R"({"ZbState": {"Status": "up", "Message": "x"}})", {place + "up"}},
                             {"another key", R"({"ZbInfo": {"Status": 1}})", {}},
                             {"none", R"({"ZbState": {}})", {place}},
                             {"a list", R"({"ZbState": {"Status": [1]}})", {}, {error}},
                             {"no object", R"({"ZbState": 5})", {}, {error}},
                         });
    }
}
