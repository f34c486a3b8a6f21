// Every kind of value that a Modbus RTU slave can hold, from the slave's registers to the broker. The slave is
// libmodbus; the registers stand here as they go over the wire.

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/libmodbus_slave.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"

using std::chrono::seconds;

namespace {

constexpr char const* word_orders[] = {"big_endian", "little_endian", "mid_big_endian", "mid_little_endian"};

/// One content of registers and its text in each word order; null where the order makes nothing worth a look of it.
struct Decoding {
    char const* value_type;
    std::vector<uint16_t> registers;
    char const* texts[4];
};

Decoding const decodings[] = {
    {"bit", {0x0100}, {"1", "1", "1", "1"}},
    {"bit", {0x0001}, {"0", "0", "0", "0"}},
    {"i8", {0xFF12}, {"255", "18", "18", "18"}},
    {"u8", {0xFE01}, {"254", "1", "1", "1"}},
    {"i16", {0x80FE}, {"-32514", "-384", "-384", "-32514"}},
    {"u16", {0x80FE}, {"33022", "65152", "65152", "33022"}},
    {"float16", {0x3E40}, {"1070071808.00", "1074249728.00", "1074249728.00", "1070071808.00"}},
    {"fixi16", {0x0180}, {"1.5000", "128.39", "128.39", "128.39"}},
    {"fixi16", {0xFF01}, {"255.39", "1.9960", "1.9960", "1.9960"}},
    {"fixu16", {0x0101}, {"1.39", "1.39", "1.39", "1.39"}},
    {"str2", {0x4142}, {"AB", "AB", "AB", "AB"}},
    {"i32", {0xF8F1, 0xF2F3}, {"-118361357", "-202182152", "-235342862", "-218892047"}},
    {"u32", {0xF8F1, 0xF2F3}, {"4176605939", "4092785144", "4059624434", "4076075249"}},
    {"float32", {0xC49A, 0x51EC}, {"-1234.56", nullptr, nullptr, nullptr}},
    {"float32", {0xEC51, 0x9AC4}, {nullptr, "-1234.56", nullptr, nullptr}},
    {"float32", {0x9AC4, 0xEC51}, {nullptr, nullptr, "-1234.56", nullptr}},
    {"float32", {0x51EC, 0xC49A}, {nullptr, nullptr, nullptr, "-1234.56"}},
    {"str4", {0x4142, 0x4344}, {"ABCD", "ABCD", "ABCD", "ABCD"}},
    {"str8", {0x4142, 0x4344, 0x4546, 0x4748}, {"ABCDEFGH", "ABCDEFGH", "ABCDEFGH", "ABCDEFGH"}},
};

/// A register kind; the empty one stands for a parameter that doesn't name any.
constexpr char const* register_kinds[] = {"", "holding", "holding-m", "input"};

using Expected = std::map<std::string, std::string>;

/// Adds a parameter to the device for every register kind, value type and word order.
void add_register_params(Json::Value& device, LibmodbusSlave& slave, Expected& expected) {
    int address = 0;
    for (Decoding const& row : decodings) {
        slave.set_holding(address, row.registers);
        slave.set_input(address, row.registers);
        for (char const* kind : register_kinds) {
            for (size_t order = 0; order < std::size(word_orders); ++order) {
                if (row.texts[order] == nullptr) {
                    continue;
                }
                Json::Value param;
                param["name"] =
                    std::string(kind) + "." + row.value_type + "." + word_orders[order] + "." + std::to_string(address);
                param["reg_addr"] = address;
                param["value_type"] = row.value_type;
                param["word_order"] = word_orders[order];
                if (*kind != '\0') {
                    param["reg_type"] = kind;
                }
                expected[param["name"].asString()] = row.texts[order];
                device["params"].append(param);
            }
        }
        address += 4;
    }
}

/// Coils, discrete inputs, bits of registers, and what becomes of a value on its way to the topic.
void add_other_params(Json::Value& device, LibmodbusSlave& slave, Expected& expected) {
    slave.set_coil(100, true);
    slave.set_discrete_input(101, true);
    slave.set_holding(1000, {0x8005, 0xF00D});
    slave.set_input(1000, {0x8005, 0xF00D});
    slave.set_holding(1010, {123, 65533});
    for (Json::Value const& param : sample::json(R"([
        {"name": "coil_on", "reg_type": "coil", "reg_addr": 100, "value_type": "bit"},
        {"name": "coil_off", "reg_type": "coil", "reg_addr": 101, "value_type": "bit", "word_order": "mid_big_endian"},
        {"name": "status_on", "reg_type": "status", "reg_addr": "0x65", "value_type": "bit"},
        {"name": "status_off", "reg_type": "status", "reg_addr": 100, "value_type": "bit"},
        {"name": "hb", "reg_type": "holding-bit", "reg_addr": 1000, "value_type": "u16", "bh_list": [
            {"name": "b0", "offset": 0}, {"name": "b1", "offset": 1}, {"name": "b2", "offset": 2},
            {"name": "b15", "offset": 15}, {"name": "i15", "offset": 15, "inverted": true}]},
        {"name": "hb_le", "reg_type": "holding-bit", "reg_addr": 1000, "value_type": "u16", "inverted": true,
         "word_order": "little_endian", "bh_list": [
            {"name": "b7", "offset": 7}, {"name": "b9", "offset": 9}, {"name": "n7", "offset": 7, "inverted": false}]},
        {"name": "ib", "reg_type": "input-bit", "reg_addr": 1000, "value_type": "u32", "bh_list": [
            {"name": "b0", "offset": 0}, {"name": "b1", "offset": 1}, {"name": "b16", "offset": 16},
            {"name": "b31", "offset": 31}]},
        {"name": "scaled", "reg_addr": 1010, "value_type": "u16", "scale": 0.1, "unit": "бар"},
        {"name": "corrected", "reg_addr": 1010, "value_type": "u16", "scale": 10, "correction": -30},
        {"name": "converted", "reg_addr": 1010, "value_type": "u16", "converter_read": "value * 2 + ' шт'"},
        {"name": "signed_in_range", "reg_addr": 1011, "value_type": "i16", "min": -3, "max": 0}
    ])")) {
        device["params"].append(param);
    }
    expected.insert(
        {{"coil_on", "1"},        {"coil_off", "0"},        {"status_on", "1"},      {"status_off", "0"},
         {"hb_b0", "1"},          {"hb_b1", "0"},           {"hb_b2", "1"},          {"hb_b15", "1"},
         {"hb_i15", "0"},         {"hb_le_b7", "0"},        {"hb_le_b9", "1"},       {"hb_le_n7", "1"},
         {"ib_b0", "1"},          {"ib_b1", "0"},           {"ib_b16", "1"},         {"ib_b31", "1"},
         {"scaled", "12.30 бар"}, {"corrected", "1200.00"}, {"converted", "246 шт"}, {"signed_in_range", "-3"}});
}

}  // namespace

TEST(ModbusRead, EveryKindArrivesAsTheRightTextOnTheRightTopic) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    LibmodbusSlave slave(daemon.folder().file("line"), 7);
    Json::Value device = sample::rtu_device("plc", 7);
    Expected expected;
    add_register_params(device, slave, expected);
    add_other_params(device, slave, expected);
    Json::Value port = sample::rs_port("line", slave.path());
    port["poll_interval"] = 3600;
    port["rto"] = 2000;
    port["devices"].append(device);
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);

    ASSERT_TRUE(probe.wait_for("stat/line/poll", seconds(20))) << daemon.log().text();
    for (auto const& [name, text] : expected) {
        ASSERT_TRUE(probe.wait_for(sample::value_topic("plc_7", name), seconds(5))) << name;
    }
    MqttProbe const later(broker.port());
    for (auto const& [name, text] : expected) {
        SCOPED_TRACE(name);
        std::string const topic = sample::value_topic("plc_7", name);
        std::vector<MqttMessage> const live = probe.on_topic(topic);
        ASSERT_EQ(live.size(), 1U);
        EXPECT_EQ(live[0].payload, text);
        EXPECT_EQ(live[0].qos, 2);
        EXPECT_FALSE(live[0].retained);
        auto const kept = later.wait_for(topic, seconds(5));
        ASSERT_TRUE(kept);
        EXPECT_EQ(kept->payload, text);
        EXPECT_EQ(kept->qos, 2);
        EXPECT_TRUE(kept->retained);
    }
    EXPECT_EQ(probe.messages().size(), expected.size() + 1) << "something else was published too";
    EXPECT_EQ(later.messages().size(), expected.size()) << "something else is retained";
    EXPECT_EQ(daemon.log().count("ответ НЕ получен"), 0);
    EXPECT_EQ(daemon.log().count("[3] [plc_7]"), 0);
}

TEST(ModbusRead, RegisterSetsTakeAsFewRequestsAsTheProtocolAllows) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    LibmodbusSlave slave(daemon.folder().file("line"), 7);
    slave.set_holding(0, {0x1234});
    slave.set_holding(124, {0x4048, 0xF5C3});
    slave.set_holding(299, {299});
    slave.set_input(7, {700});
    slave.set_coil(0, true);
    slave.set_coil(2500, true);
    slave.set_discrete_input(12, true);
    Json::Value device = sample::rtu_device("plc", 7);
    device["all_params"] = true;
    device["params"] = sample::json(R"([
        {"name": "first", "reg_addr": 0, "value_type": "u16", "converter_read": "'never used here'"},
        {"name": "over_the_edge", "reg_addr": 124, "value_type": "float32"},
        {"name": "last", "reg_addr": 299, "value_type": "u16", "scale": 0.5, "unit": "A"},
        {"name": "seldom", "reg_addr": 298, "value_type": "u16", "poll_interval": 3600},
        {"name": "c0", "reg_addr": 0, "reg_type": "coil"}, {"name": "c2500", "reg_addr": 2500, "reg_type": "coil"},
        {"name": "s3", "reg_addr": 3, "reg_type": "status"}, {"name": "s12", "reg_addr": 12, "reg_type": "status"},
        {"name": "i7", "reg_addr": 7, "value_type": "u16", "reg_type": "input"}])");
    Json::Value port = sample::rs_port("line", slave.path());
    port["poll_interval"] = 1;
    port["rto"] = 2000;
    port["devices"].append(device);
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);

    ASSERT_TRUE(probe.wait_for_count("stat/line/poll", 2, seconds(20))) << daemon.log().text();
    for (auto const& [name, text] : Expected{{"first", "4660"},
                                             {"over_the_edge", "3.14"},
                                             {"last", "149.50 A"},
                                             {"seldom", "0"},
                                             {"c0", "1"},
                                             {"c2500", "1"},
                                             {"s3", "0"},
                                             {"s12", "1"},
                                             {"i7", "700"}}) {
        EXPECT_TRUE(probe.wait_for(sample::value_topic("plc_7", name), text, seconds(5))) << name;
    }
    EXPECT_EQ(probe.count(sample::value_topic("plc_7", "seldom")), 1);
    // 2501 coils in two, 300 registers in three, and the other kinds in one request each.
    std::vector<std::string> requests = slave.requests();
    ASSERT_GE(requests.size(), 7U);
    requests.resize(7);
    EXPECT_EQ(requests,
              (std::vector<std::string>{"07 01 00 00 07 D0 3F C0", "07 01 07 D0 01 F5 FD 36", "07 02 00 03 00 0A 08 6B",
                                        "07 03 00 00 00 7D 85 8D", "07 03 00 7D 00 7D 15 95", "07 03 00 FA 00 32 E4 48",
                                        "07 04 00 07 00 01 80 6D"}));
}
