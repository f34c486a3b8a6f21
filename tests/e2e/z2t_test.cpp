// Zigbee devices behind a bridge: the whole way from the bridge's topics to the controls and back, in both shapes of
// the file, and a bridge that reports faster than anybody reads.

#include <chrono>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/wait_until.h"

using std::chrono::seconds;
using testing::ElementsAre;

namespace {

constexpr char controls[] = R"([{"name": "sw", "z2t_name": "Power", "read_only": false},
    {"name": "t", "z2t_name": "Temperature", "value_type": "float32", "scale": 1, "max": 50, "unit": "°C"}])";

Json::Value plain_shape() {
    return sample::json(R"({"name": "zb", "type": "base.z2t", "zigbee": {"address": "0x1"}, "devices": [
        {"name": "bridge", "type": "z2t", "cname": "z2t_tasmota", "sid": "0x10"},
        {"name": "kitchen", "type": "z2t", "cname": "room", "sid": "0x11", "templ": "climate"}]})");
}

Json::Value connection_shape() {
    Json::Value port = sample::json(R"({"connection": {"name": "zb", "type": "base.z2t", "zigbee": {"address": "0x2"}},
        "devices": [{"name": "The bridge", "type": "z2t", "cname": "z2t_tasmota", "sid": "0x20"},
                    {"name": "Kitchen", "type": "z2t", "cname": "room", "sid": "0x21"}],
        "parameters": [{"cname": "room"}]})");
    port["parameters"][0]["config"]["channels"] = sample::json(controls);
    return port;
}

/// Until the daemon's subscriptions stand: what it publishes behind them shows it.
bool wait_served(MqttProbe& probe, std::string const& message_topic, std::string const& payload,
                 std::string const& answer_topic) {
    return wait_until(
        [&] { return probe.publish(message_topic, payload) && probe.wait_for(answer_topic, seconds(2)).has_value(); },
        seconds(20));
}

std::string about(std::string const& device, std::string const& values) {
    return R"({"ZbReceived":{")" + device + R"(":)" + values + "}}";
}

/// Payload, QoS, and whether it is kept.
using Seen = std::tuple<std::string, int, bool>;

std::vector<Seen> seen(MqttProbe const& probe, std::string const& topic) {
    std::vector<Seen> result;
    for (MqttMessage const& message : probe.on_topic(topic)) {
        result.emplace_back(message.payload, message.qos, message.retained);
    }
    return result;
}

void talk(MqttProbe& probe, int broker_port, Daemon& daemon, std::string const& number) {
    SCOPED_TRACE("bridge " + number);
    std::string const device = "0x" + number + "1";
    std::string const sensor = "tele/zb_0x" + number + "/SENSOR";
    std::string const result = "tele/zb_0x" + number + "/RESULT";
    std::string const command = "cmnd/zb_0x" + number + "/ZbSend";
    std::string const status = "/devices/z2t_tasmota_0x" + number + "0/controls/status";
    std::string const name = "room_" + device;
    ASSERT_TRUE(wait_served(probe, result, R"({"ZbState":{"Status":0}})", status)) << daemon.log().text();

    probe.publish(sample::on_topic(name, "sw"), "1");
    probe.publish(sensor, about(device, R"({"Name":"x","Temperature":21.3,"Power":1,"Endpoint":3})"));
    for (std::string const& lost : {std::string("5"), std::string("[1]"), std::string(R"({"ZbReceived")"),
                                    std::string(R"({"ZbReceived":7})"), about(device, R"("on")")}) {
        probe.publish(sensor, lost);
    }
    probe.publish(result, about(device, R"({"Power":{"a":1},"Temperature":50.5})"));
    probe.publish(sample::on_topic(name, "t"), "5");
    probe.publish(result, about(device, R"({"Power":[1],"Temperature":50})"));
    probe.publish(sample::on_topic(name, "sw"), "0");

    std::string const head = R"({"Device":")" + device + R"(","Endpoint":)";
    std::string const before = head + R"(-1,"Send":{"Power":"1"}})" + "\n";
    std::string const behind = head + R"(3,"Send":{"Power":"0"}})" + "\n";
    ASSERT_TRUE(probe.wait_for(command, behind, seconds(10))) << daemon.log().text();
    EXPECT_THAT(seen(probe, command), ElementsAre(Seen{before, 2, false}, Seen{behind, 2, false}));
    EXPECT_THAT(seen(probe, sample::value_topic(name, "sw")), ElementsAre(Seen{"1", 2, false}));
    EXPECT_THAT(seen(probe, sample::value_topic(name, "t")),
                ElementsAre(Seen{"21.30 °C", 2, false}, Seen{"50.00 °C", 2, false}));
    EXPECT_THAT(seen(probe, sample::error_topic(name, "t")), ElementsAre(Seen{"r", 0, false}));
    constexpr char no_text[] = "[3] [sw] значение не является текстом или числом : Power.";
    EXPECT_TRUE(wait_until([&] { return daemon.log().count(no_text) == 2; }, seconds(5)));
    EXPECT_EQ(daemon.log().count("[3] [zb] ZbReceived : отчёт не является объектом. Пропущен."), 1);
    EXPECT_EQ(daemon.log().count("ZbReceived : отчёт об устройстве не является объектом. Пропущен."), 1);

    MqttProbe const late(broker_port);
    probe.publish("end", number);
    ASSERT_TRUE(late.wait_for("end", number, seconds(5))) << "behind all that is retained";
    EXPECT_THAT(seen(late, status), ElementsAre(Seen{"0", 2, true}));
    EXPECT_THAT(seen(late, command), ElementsAre(Seen{behind, 2, true}));
    EXPECT_THAT(seen(late, sample::value_topic(name, "t")), ElementsAre(Seen{"50.00 °C", 2, true}));
    EXPECT_EQ(late.count(sample::error_topic(name, "t")), 0);
}

}  // namespace

TEST(Zigbee, ReportsBecomeControlsAndWritesBecomeCommandsInBothShapes) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon plain(Daemon::Image::testable);
    plain.folder().write("templates/climate.json", std::string(R"({"name": "climate", "params": )") + controls + "}");
    Json::Value config = sample::root(broker.port());
    config["ports"].append(plain_shape());
    plain.start_with(config);
    Daemon connection(Daemon::Image::testable);
    config["ports"][0] = connection_shape();
    connection.start_with(config);
    talk(probe, broker.port(), plain, "1");
    talk(probe, broker.port(), connection, "2");
    EXPECT_EQ(probe.count("stat/zb/poll"), 0);
}

TEST(Zigbee, ABurstIsServedInOrderWithoutALossAndLeavesNothingInMemory) {
    constexpr int reports = 10000;
    // Pages that come and go; what a report leaves behind, if only its message, would be more in 10,000 of them.
    constexpr long tolerance_kib = 2048;
    Broker broker;
    MqttProbe probe(broker.port());
    Json::Value config = sample::root(broker.port());
    config["log"]["is_debug"] = false;
    config["ports"].append(sample::json(R"({"name": "zb", "type": "base.z2t", "zigbee": {"address": "0x1"}, "devices": [
        {"name": "d", "type": "z2t", "cname": "counter", "sid": "0x11", "params": [
            {"name": "n", "z2t_name": "Count", "value_type": "float32", "min": 0}]}]})"));
    // What the sanitizer holds back of freed memory, to find late uses, would look like growth.
    char const* const given = std::getenv("ASAN_OPTIONS");
    std::string const options = given != nullptr ? given : "";
    setenv("ASAN_OPTIONS", (options + ":quarantine_size_mb=0:thread_local_quarantine_size_kb=0").c_str(), 1);
    Daemon daemon;
    daemon.start_with(config);
    given != nullptr ? setenv("ASAN_OPTIONS", options.c_str(), 1) : unsetenv("ASAN_OPTIONS");

    std::string const sensor = "tele/zb_0x1/SENSOR";
    std::string const value = sample::value_topic("counter_0x11", "n");
    ASSERT_TRUE(wait_served(probe, sensor, about("0x11", R"({"Count":0})"), value)) << daemon.log().text();
    long resident_kib[2] = {};
    for (long& kib : resident_kib) {
        size_t const since = probe.mark();
        for (int number = 1; number <= reports; ++number) {
            ASSERT_TRUE(probe.publish(sensor, about("0x11", R"({"Count":)" + std::to_string(number) + "}"), 0));
        }
        probe.wait_for(value, std::to_string(reports), seconds(30), since);
        std::vector<MqttMessage> values = probe.on_topic(value, since);
        std::erase_if(values, [](MqttMessage const& message) { return message.payload == "0"; });
        ASSERT_EQ(values.size(), static_cast<size_t>(reports));
        for (int number = 1; number <= reports; ++number) {
            ASSERT_EQ(values[static_cast<size_t>(number) - 1].payload, std::to_string(number));
        }
        kib = daemon.rss_kib();
    }
    EXPECT_LT(resident_kib[1], resident_kib[0] + tolerance_kib);
}
