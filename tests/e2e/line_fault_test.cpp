// What goes wrong on a serial line, each fault on a device of its own: what is told, what the broker sees, and that the
// next good answer is right.

#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/serial_peer.h"

using std::chrono::seconds;

namespace {

/// How often the fault happens before the slave is well again.
constexpr int faults = 2;
constexpr int rto_ms = 400;
constexpr auto limit = seconds(20);

struct Fault {
    char const* name;
    char const* request;  ///< read holding register 16
    Reply reply;
    char const* level;
    char const* told;
    char const* good_reply;
    char const* value;
};

// Each slave answers 100 and its own address. A fault that leaves bytes behind on the line stands ahead of a device
// that would take them for its answer.
Fault const rows[] = {
    {"silent", "01 03 00 10 00 01 85 CF", {}, "[3]", "операция НЕ выполнена : timeout.", "01 03 02 00 65 78 6F", "101"},
    {"wrong_address",
     "02 03 00 10 00 01 85 FC",
     {.hex = "03 03 02 0B B8 C6 C6"},
     "[3]",
     "операция НЕ выполнена : не совпали SlaveId.",
     "02 03 02 00 66 7C 6E",
     "102"},
    {"broken_crc",
     "03 03 00 10 00 01 84 2D",
     {.hex = "03 03 02 00 68 80 6E"},
     "[3]",
     "ответ НЕ получен : не совпали CRC.",
     "03 03 02 00 67 80 6E",
     "103"},
    {"exception_2",
     "04 03 00 10 00 01 85 9A",
     {.hex = "04 83 02 D0 F0"},
     "[3]",
     "операция НЕ выполнена : Адрес данных, указанный в запросе, недоступен.",
     "04 03 02 00 68 75 AA",
     "104"},
    {"exception_9",
     "05 03 00 10 00 01 84 4B",
     {.hex = "05 83 09 C0 F7"},
     "[3]",
     "операция НЕ выполнена : .",
     "05 03 02 00 69 89 AA",
     "105"},
    {"exception_12",
     "06 03 00 10 00 01 84 78",
     {.hex = "06 83 0C F0 F4"},
     "[3]",
     "операция НЕ выполнена : Неизвестная ошибка.",
     "06 03 02 00 6A 8D AB",
     "106"},
    {"half_a_head",
     "07 03 00 10 00 01 85 A9",
     {.hex = "07 03"},
     "[3]",
     "операция НЕ выполнена : timeout.",
     "07 03 02 00 6B 71 AB",
     "107"},
    {"half_a_reply",
     "08 03 00 10 00 01 85 56",
     {.hex = "08 03 02 00 6C"},
     "[3]",
     "dev_mb_rtu::ответ НЕ получен : timeout.",
     "08 03 02 00 6C 64 68",
     "108"},
    {"announces_too_much",
     "09 03 00 10 00 01 84 87",
     {.hex = "09 03 FA 00 6D 98 68"},
     "[3]",
     "dev_mb_rtu::ответ НЕ получен : timeout.",
     "09 03 02 00 6D 98 68",
     "109"},
    {"longer_than_announced",
     "0A 03 00 10 00 01 84 B4",
     {.hex = "0A 03 02 00 6E 00 6E 00 6E 1E 7D"},
     "[3]",
     "ответ НЕ получен : не совпали CRC.",
     "0A 03 02 00 6E 9C 69",
     "110"},
    {"garbage_ahead",
     "0B 03 00 10 00 01 85 65",
     {.hex = "0B 03 02 00 6F 60 69", .garbage = "00 FF 0B"},
     "[3]",
     "операция НЕ выполнена : не совпали SlaveId.",
     "0B 03 02 00 6F 60 69",
     "111"},
    {"error_value",
     "0C 03 00 10 00 01 84 D2",
     {.hex = "0C 03 02 FF FF 94 35"},
     "[2]",
     "получено ошибочное значение : FFFF : error_value = FFFF.",
     "0C 03 02 00 70 94 61",
     "112"},
    // Last of the pass, so that its answer comes while nobody waits for one.
    {"late",
     "0E 03 00 10 00 01 85 30",
     {.hex = "0E 03 02 07 D0 EF E9", .delay_ms = rto_ms + 200},
     "[3]",
     "операция НЕ выполнена : timeout.",
     "0E 03 02 00 72 6C 60",
     "114"},
};

int sid_of(Fault const& row) {
    return std::stoi(std::string(row.request).substr(0, 2), nullptr, 16);
}

std::string device_of(Fault const& row) {
    return "dev_" + std::to_string(sid_of(row));
}

Json::Value make_device(Fault const& row) {
    Json::Value device = sample::rtu_device("dev", sid_of(row));
    device["display_name"] = std::string("прибор ") + row.name;
    device["params"].append(sample::json(R"({"reg_addr": 16, "value_type": "u16", "error_value": "0xFFFF"})"));
    device["params"][0]["name"] = row.name;
    return device;
}

}  // namespace

TEST(LineFault, EachIsToldAndTheNextGoodAnswerIsRight) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    SerialPeer peer(daemon.folder().file("line"));
    Json::Value port = sample::rs_port("line", peer.path());
    port["poll_interval"] = 1;
    port["rto"] = rto_ms;
    for (Fault const& row : rows) {
        port["devices"].append(make_device(row));
        for (int time = 0; time < faults; ++time) {
            peer.script().once(row.request, row.reply);
        }
        peer.script().on(row.request, row.good_reply);
    }
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);

    for (Fault const& row : rows) {
        SCOPED_TRACE(row.name);
        auto const value = probe.wait_for(sample::value_topic(device_of(row), row.name), limit);
        ASSERT_TRUE(value) << daemon.log().text();
        EXPECT_EQ(value->payload, row.value) << "the first value ever must be the good one";
        ASSERT_TRUE(daemon.log().wait_for(std::string("[1] [") + row.name + "] ответ получен", limit));

        EXPECT_EQ(daemon.log().count(std::string(row.level) + " [" + row.name + "] " + row.told), faults);
        EXPECT_EQ(daemon.log().count(3, row.name, "ответ НЕ получен"), faults);

        std::vector<MqttMessage> const errors = probe.on_topic(sample::error_topic(device_of(row), row.name));
        ASSERT_EQ(errors.size(), static_cast<size_t>(faults));
        for (MqttMessage const& error : errors) {
            EXPECT_EQ(error.payload, "r");
            EXPECT_EQ(error.qos, 0);
        }
        EXPECT_EQ(probe.count("/devices/error", std::string("прибор ") + row.name), 1);
    }
    for (MqttMessage const& message : probe.on_topic("/devices/error")) {
        EXPECT_EQ(message.qos, 2);
    }
    MqttProbe const later(broker.port());
    EXPECT_TRUE(later.wait_for(sample::value_topic("dev_14", "late"), "114", limit));
    for (MqttMessage const& message : later.messages()) {
        EXPECT_FALSE(message.retained && message.topic.ends_with("/error")) << message.topic;
    }
}

TEST(LineFault, PiecesAndBytesBehindTheReplyDoNoHarm) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    SerialPeer peer(daemon.folder().file("line"));
    Json::Value port = sample::rs_port("line", peer.path());
    port["poll_interval"] = 1;
    port["rto"] = 1500;
    port["devices"].append(sample::rtu_device("dev", 1));
    port["devices"][0]["params"] = sample::json(R"([
        {"name": "pieces", "reg_addr": 16, "value_type": "u16"},
        {"name": "more_behind", "reg_addr": 17, "value_type": "u16"},
        {"name": "plain", "reg_addr": 18, "value_type": "u16"}])");
    peer.script()
        .on("01 03 00 10 00 01 85 CF", Reply{.hex = "01 03 02 00 65 78 6F", .fragment = 1, .gap_ms = 60})
        .on("01 03 00 11 00 01 D4 0F", "01 03 02 00 66 38 6E 01 03 02 AA AA")
        .on("01 03 00 12 00 01 24 0F", "01 03 02 00 67 F9 AE");
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);

    for (auto const& [name, value] : {std::pair{"pieces", "101"}, {"more_behind", "102"}, {"plain", "103"}}) {
        std::string const topic = sample::value_topic("dev_1", name);
        ASSERT_TRUE(probe.wait_for_count(topic, 3, limit)) << daemon.log().text();
        EXPECT_EQ(probe.count(topic), probe.count(topic, value));
    }
    EXPECT_EQ(daemon.log().count("ответ НЕ получен"), 0);
    EXPECT_EQ(probe.count("/devices/error"), 0);
}

TEST(LineFault, ADeviceThatFailsAgainAfterRecoveryIsReportedAgain) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    SerialPeer peer(daemon.folder().file("line"));
    Json::Value port = sample::rs_port("line", peer.path());
    port["poll_interval"] = 1;
    port["rto"] = 100;
    port["devices"].append(sample::rtu_device("dev", 1));
    port["devices"][0]["params"] = sample::json(R"([
        {"name": "first", "reg_addr": 16, "value_type": "u16"},
        {"name": "second", "reg_addr": 17, "value_type": "u16"}])");
    std::string const first = "01 03 00 10 00 01 85 CF";
    std::string const second = "01 03 00 11 00 01 D4 0F";
    // One of two is silent: no fault. Both: a fault, told once. Well, and both again: told anew, by the device's name
    // as it has no other.
    for (char const* const reply : {"", "", "", "01 03 02 00 65 78 6F", "", ""}) {
        peer.script().once(first, std::string(reply));
    }
    for (char const* const reply : {"01 03 02 00 66 38 6E", "", "", "01 03 02 00 66 38 6E", "", ""}) {
        peer.script().once(second, std::string(reply));
    }
    peer.script().on(first, "01 03 02 00 65 78 6F").on(second, "01 03 02 00 66 38 6E");
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);

    ASSERT_TRUE(probe.wait_for_count(sample::value_topic("dev_1", "second"), 3, limit)) << daemon.log().text();
    EXPECT_EQ(probe.count(sample::error_topic("dev_1", "first"), "r"), 5);
    EXPECT_EQ(probe.count(sample::error_topic("dev_1", "second"), "r"), 4);
    EXPECT_EQ(probe.count("/devices/error", "dev_1"), 2);
}
