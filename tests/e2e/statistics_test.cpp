// The statistics topic, and a port without a line.

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/serial_peer.h"

using std::chrono::seconds;

namespace {

constexpr auto limit = seconds(20);

}  // namespace

TEST(Statistics, CountEveryPollOfThePortSinceTheStart) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    SerialPeer peer(daemon.folder().file("line"));
    peer.script()
        .on("01 03 00 10 00 01 85 CF", "01 03 02 00 65 78 6F")
        .on("01 03 00 11 00 01 D4 0F", "01 03 02 00 66 38 6E");
    Json::Value port = sample::rs_port("line", peer.path());
    port["poll_interval"] = 3600;
    port["rto"] = 100;
    port["devices"].append(sample::rtu_device("dev", 1));
    port["devices"][0]["params"] = sample::json(R"([
        {"name": "every_pass", "reg_addr": 16, "value_type": "u16", "poll_interval": 2},
        {"name": "out_of_range", "reg_addr": 17, "value_type": "u16", "max": 100},
        {"name": "silent", "reg_addr": 18, "value_type": "u16"},
        {"name": "off", "reg_addr": 19, "value_type": "u16", "enabled": false}])");
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);

    ASSERT_TRUE(probe.wait_for_count("stat/line/poll", 2, limit)) << daemon.log().text();
    std::vector<MqttMessage> const lines = probe.on_topic("stat/line/poll");
    // Of three polls one failed: the rate is a whole percentage. A value that is out of range is no failed poll.
    EXPECT_EQ(lines[0].payload, "Статистика line : опросов = 3 : ошибок = 1 [ 33.00 ] : вне диапазона = 1.");
    EXPECT_EQ(lines[1].payload, "Статистика line : опросов = 4 : ошибок = 1 [ 25.00 ] : вне диапазона = 1.");
    EXPECT_EQ(lines[0].qos, 0);
    EXPECT_GE(lines[1].at - lines[0].at, seconds(1)) << "told although nothing was polled";
    EXPECT_EQ(daemon.log().count(1, "line", lines[0].payload), 1);
    EXPECT_EQ(daemon.log().count("[3] [out_of_range] значение вне пределов диапазона : "
                                 "min = 0.00 : value = 102.00 : max = 100.00."),
              1);
    EXPECT_EQ(probe.count("/devices/dev_1/controls/out_of_range/meta/error", "r"), 1);
    MqttProbe const later(broker.port());
    EXPECT_TRUE(later.wait_for("/devices/dev_1/controls/every_pass", limit));
    EXPECT_FALSE(later.wait_for(
        [](MqttMessage const& message) { return message.retained && message.topic == "stat/line/poll"; }, seconds(0)));
}

TEST(NullPort, ReadsTheCannedAnswerOfSlave17) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    Json::Value port = sample::json(R"({"name": "dry", "type": "base.null", "poll_interval": 1, "devices": []})");
    port["devices"].append(sample::rtu_device("dev", 17));
    port["devices"][0]["params"] = sample::json(R"([{"name": "level", "reg_addr": 16, "value_type": "u16"},
                                                    {"name": "scaled", "reg_addr": 17, "value_type": "i16", "scale": 0.5,
                                                     "unit": "°C"}])");
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);

    ASSERT_TRUE(probe.wait_for_count("/devices/dev_17/controls/scaled", 2, limit)) << daemon.log().text();
    EXPECT_EQ(probe.last("/devices/dev_17/controls/level"), "5");
    EXPECT_EQ(probe.last("/devices/dev_17/controls/scaled"), "2.50 °C");
    EXPECT_EQ(daemon.log().count("ответ НЕ получен"), 0);
}
