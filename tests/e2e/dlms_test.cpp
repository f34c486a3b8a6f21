// What becomes of DLMS ports whose line goes away, with the real binary and broker.

#include <string>

#include <gtest/gtest.h>

#include "ctl/line/serial_peer.h"
#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/tcp_peer.h"

using std::chrono::seconds;

TEST(Dlms, AConcentratorThatIsAwayComesBackWithoutARestart) {
    Broker broker;
    TcpPeer peer;
    peer.script()
        .on("00 01 00 01 00 01 00 0D C0 01 C1 00 11 00 00 29 00 00 FF 02 00",
            "00 01 00 01 00 01 00 10 C4 01 C1 00 01 01 02 02 12 00 11 0A 03 4D 45 54")
        .on("00 01 00 01 00 11 00 0D C0 01 C1 00 03 01 00 01 08 00 FF 02 00",
            "00 01 00 11 00 01 00 09 C4 01 C1 00 06 00 00 04 D2");
    Json::Value config = sample::root(broker.port());
    config["ports"].append(sample::json(R"({"name": "p", "type": "dlms.tcp", "poll_interval": 1, "rto": 500,
        "devices": [{"name": "one", "sn": "MET", "params": [
            {"name": "energy", "class_id": 3, "object_id": "1.0.1.8.0.255", "attr_id": 2}]}]})"));
    config["ports"][0]["tcp"] = sample::tcp_port("p", peer.port())["tcp"];
    Daemon daemon;
    MqttProbe probe(broker.port());
    daemon.start_with(config);
    std::string const value = sample::value_topic("one", "energy");
    ASSERT_TRUE(probe.wait_for(value, "1234", seconds(15))) << daemon.log().text();
    peer.stop_listening();
    EXPECT_TRUE(probe.wait_for("/devices/error", "one", seconds(10)));
    peer.listen();
    EXPECT_TRUE(probe.wait_for(value, "1234", seconds(10), probe.mark())) << daemon.log().text();
    EXPECT_EQ(daemon.log().count("Перезапуск"), 0);
}

TEST(Dlms, WhatIsWrittenWhileASerialLineIsAwayWaitsForIt) {
    Broker broker;
    Daemon daemon;
    SerialPeer peer(daemon.folder().file("line"));
    peer.script()
        .on("02 00 00 00 30 39 EE EE EE EE EE EE 88 E5 00 15 00 00 00 00 00 01 00 01 00 16 00 0D C0 01 C1 00 03 01 00 "
            "02 08 00 FF 02 00 5C 69 0A 24",
            "EE EE EE EE EE EE 02 00 00 00 30 39 88 E5 00 0F 00 00 00 00 00 01 00 16 00 01 00 07 C4 01 C1 00 12 01 F4 "
            "8E EB 5C 45")
        .on("02 00 00 00 30 39 EE EE EE EE EE EE 88 E5 00 18 00 00 00 00 00 01 00 01 00 16 00 10 C1 01 C1 00 03 01 00 "
            "02 08 00 FF 02 00 12 01 F4 83 DF A3 F7",
            "EE EE EE EE EE EE 02 00 00 00 30 39 88 E5 00 0D 00 00 00 00 00 01 00 16 00 01 00 05 C5 01 C1 00 00 55 BC "
            "B6 A9");
    Json::Value config = sample::root(broker.port());
    config["ports"].append(sample::json(R"({"name": "p", "type": "dlms.rs", "poll_interval": 1, "rto": 300, "devices": [
        {"name": "meter", "sn": "AB12345", "params": [
            {"name": "limit", "class_id": 3, "object_id": "1.0.2.8.0.255", "attr_id": 2, "value_type": "u16",
             "read_only": false, "poll_interval": 3600},
            {"name": "silent", "class_id": 3, "object_id": "1.0.1.8.0.255", "attr_id": 2}]}]})"));
    config["ports"][0]["rs"] = sample::rs_port("p", peer.path())["rs"];
    MqttProbe probe(broker.port());
    daemon.start_with(config);
    ASSERT_TRUE(probe.wait_for(sample::value_topic("meter", "limit"), "500", seconds(20))) << daemon.log().text();
    peer.unplug();
    constexpr char cannot_open[] = "[3] [p] не удалось открыть COM порт.";
    ASSERT_TRUE(daemon.log().wait_for(cannot_open, seconds(10)));
    size_t const mark = probe.mark();
    ASSERT_TRUE(probe.publish(sample::on_topic("meter", "limit"), "500"));
    ASSERT_TRUE(probe.wait_for(sample::on_topic("meter", "limit"), "500", seconds(5), mark));
    int const passes = daemon.log().count(cannot_open);
    ASSERT_TRUE(wait_until([&] { return daemon.log().count(cannot_open) >= passes + 2; }, seconds(10)));
    peer.plug();
    EXPECT_TRUE(probe.wait_for(sample::value_topic("meter", "limit"), "500", seconds(10), mark)) << daemon.log().text();
}
