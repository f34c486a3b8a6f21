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
