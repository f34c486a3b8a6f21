// Every kind of register of a Modbus slave, read and written, by RTU and by TCP. The slaves are libmodbus; the
// registers stand here as they go over the wire.

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/libmodbus_slave.h"
#include "support/libmodbus_tcp_slave.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/tcp_peer.h"

using std::chrono::seconds;
using Registers = std::vector<uint16_t>;

namespace {

struct Row {
    char const* control;
    char const* keys;  ///< of the parameter; null: a further bit of the one before
    char const* value;
    char const* payload = nullptr;  ///< what is written
    char const* read_back = nullptr;
    int address = 0;  ///< of the holding registers that hold it then
    Registers written = {};
};

Row const rows[] = {
    {"coil", R"("reg_type": "coil", "reg_addr": 9, "value_type": "bit")", "0", "1", "1"},
    {"coil_on", R"("reg_type": "coil", "reg_addr": 2500, "value_type": "bit")", "1"},
    {"status", R"("reg_type": "status", "reg_addr": 3, "value_type": "bit")", "1"},
    {"status_off", R"("reg_type": "status", "reg_addr": 4, "value_type": "bit")", "0"},
    {"u16", R"("reg_addr": 0, "value_type": "u16")", "4660", "33022", "33022", 0, {0x80FE}},
    {"i16", R"("reg_addr": 2, "value_type": "i16", "word_order": "little_endian")", "-384", "-2", "-2", 2, {0xFEFF}},
    {"i32",
     R"("reg_addr": 4, "value_type": "i32", "word_order": "mid_big_endian", "reg_type": "holding-m")",
     "-235342862",
     "-559038737",
     "-559038737",
     4,
     {0xADDE, 0xEFBE}},
    {"u32",
     R"("reg_addr": 8, "value_type": "u32", "word_order": "mid_little_endian", "reg_type": "holding-m")",
     "4076075249",
     "305419896",
     "305419896",
     8,
     {0x5678, 0x1234}},
    {"f32",
     R"("reg_addr": 12, "value_type": "float32", "reg_type": "holding-m")",
     "-1234.56",
     "1.5",
     "1.50",
     12,
     {0x3FC0, 0x0000}},
    {"str8",
     R"("reg_addr": 16, "value_type": "str8", "reg_type": "holding-m")",
     "ABCDEFGH",
     "abcdefgh",
     "abcdefgh",
     16,
     {0x6162, 0x6364, 0x6566, 0x6768}},
    {"bits_b0", R"("reg_addr": 1, "value_type": "u16", "reg_type": "holding-bit",
                   "bh_list": [{"name": "b0", "offset": 0}, {"name": "b1", "offset": 1}])",
     "1"},
    {"bits_b1", nullptr, "0", "1", "1", 1, {0x0007}},
    {"input", R"("reg_addr": 7, "value_type": "u16", "reg_type": "input", "scale": 0.1, "unit": "V")", "70.00 V"},
    {"input_bits_b31", R"("reg_addr": 20, "value_type": "u32", "reg_type": "input-bit",
                          "bh_list": [{"name": "b31", "offset": 31}])",
     "1"},
};

/// Read as sets: what isn't asked for in as few requests as the protocol allows.
constexpr char set[] = R"([
    {"name": "first", "reg_addr": 0, "value_type": "u16"}, {"name": "last", "reg_addr": 299, "value_type": "u16"},
    {"name": "c0", "reg_addr": 0, "reg_type": "coil"}, {"name": "c2500", "reg_addr": 2500, "reg_type": "coil"},
    {"name": "s3", "reg_addr": 3, "reg_type": "status"}, {"name": "s12", "reg_addr": 12, "reg_type": "status"},
    {"name": "i7", "reg_addr": 7, "value_type": "u16", "reg_type": "input"}])";

void fill(modbus_mapping_t& image) {
    Registers const start = {0x1234, 0x0005, 0x80FE, 0,      0xF8F1, 0xF2F3, 0,      0,      0xF8F1, 0xF2F3,
                             0,      0,      0xC49A, 0x51EC, 0,      0,      0x4142, 0x4344, 0x4546, 0x4748};
    std::copy(start.begin(), start.end(), image.tab_registers);
    image.tab_registers[299] = 299;
    image.tab_input_registers[7] = 700;
    image.tab_input_registers[20] = 0x8000;
    image.tab_bits[2500] = 1;
    image.tab_input_bits[3] = 1;
}

Json::Value device_of(char const* name, char const* type, Json::Value const& params) {
    Json::Value device;
    device["name"] = name;
    device["type"] = type;
    device["sid"] = 7;
    device["params"] = params;
    return device;
}

template <typename Slave>
void read_and_write(Slave& slave, Json::Value port, char const* type, Daemon& daemon) {
    Broker broker;
    slave.with_image(fill);
    Json::Value single = device_of("plc", type, Json::arrayValue);
    for (Row const& row : rows) {
        if (row.keys != nullptr) {
            std::string const control = row.control;
            Json::Value param = sample::json("{" + std::string(row.keys) + "}");
            param["name"] = param.isMember("bh_list") ? control.substr(0, control.rfind('_')) : control;
            param["read_only"] = false;
            single["params"].append(param);
        }
    }
    Json::Value whole = device_of("set", type, sample::json(set));
    whole["all_params"] = true;
    port["poll_interval"] = 1;
    port["rto"] = 2000;
    port["devices"].append(single);
    port["devices"].append(whole);
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config, {"-h"});
    MqttProbe probe(broker.port());
    for (Row const& row : rows) {
        auto const message = probe.wait_for(sample::value_topic("plc_7", row.control), seconds(15));
        ASSERT_TRUE(message) << row.control << daemon.log().text();
        EXPECT_EQ(message->payload, row.value) << row.control;
        EXPECT_EQ(message->qos, 2);
    }
    for (auto const& [name, value] : {std::pair{"first", "4660"},
                                      {"last", "299"},
                                      {"c0", "0"},
                                      {"c2500", "1"},
                                      {"s3", "1"},
                                      {"s12", "0"},
                                      {"i7", "700"}}) {
        EXPECT_TRUE(probe.wait_for(sample::value_topic("set_7", name), value, seconds(5))) << name;
    }
    // 300 registers in three requests, 2501 coils in two.
    for (char const* frame :
         {"07 03 00 00 00 7D", "07 03 00 7D 00 7D", "07 03 00 FA 00 32", "07 01 00 00 07 D0", "07 01 07 D0 01 F5"}) {
        EXPECT_TRUE(wait_until([&] { return daemon.log().count(frame) > 0; }, seconds(5))) << frame;
    }
    for (Row const& row : rows) {
        if (row.payload == nullptr) {
            continue;
        }
        size_t const mark = probe.mark();
        ASSERT_TRUE(probe.publish(sample::on_topic("plc_7", row.control), row.payload));
        EXPECT_TRUE(probe.wait_for(sample::value_topic("plc_7", row.control), row.read_back, seconds(5), mark))
            << row.control;
    }
    slave.with_image([](modbus_mapping_t& image) {
        for (Row const& row : rows) {
            EXPECT_EQ(
                Registers(image.tab_registers + row.address, image.tab_registers + row.address + row.written.size()),
                row.written)
                << row.control;
        }
        EXPECT_EQ(image.tab_bits[9], 1);
    });
    EXPECT_EQ(daemon.log().count("[3] ["), 0);
    MqttProbe const later(broker.port());
    auto const kept = later.wait_for(sample::value_topic("plc_7", "u16"), seconds(5));
    EXPECT_TRUE(kept && kept->retained && kept->qos == 2);
}

}  // namespace

TEST(ModbusSlave, ReadAndWrittenByRtu) {
    Daemon daemon;
    LibmodbusSlave slave(daemon.folder().file("line"), 7);
    read_and_write(slave, sample::rs_port("line", slave.path()), "mb-rtu", daemon);
}

TEST(ModbusSlave, ReadAndWrittenByTcp) {
    Daemon daemon;
    LibmodbusTcpSlave slave;
    read_and_write(slave, sample::tcp_port("line", slave.port()), "mb-tcp", daemon);
}

TEST(ModbusTcp, APeerThatIsAwayCostsNextToNothingAndLeavesNoDescriptor) {
    Broker broker;
    TcpPeer peer;
    // Every connection serves one answer only.
    peer.script().on("00 01 00 00 00 06 01 03 00 10 00 01",
                     Reply{.hex = "00 01 00 00 00 05 01 03 02 04 D2", .hang_up = HangUp::after_reply});
    Daemon daemon;
    MqttProbe probe(broker.port());
    Json::Value device = sample::json(R"({"name": "d", "type": "mb-tcp", "sid": 1, "params": []})");
    // An odd number, as of those on an ended connection only every other one is answered.
    for (int index = 0; index < 101; ++index) {
        device["params"].append(sample::json(R"({"reg_addr": 16, "value_type": "u16"})"));
        device["params"][index]["name"] = "p" + std::to_string(index);
    }
    Json::Value config = sample::root(broker.port());
    Json::Value& port = config["ports"].append(sample::tcp_port("p", peer.port()));
    port["poll_interval"] = 0;
    port["rto"] = 20;  // a request on a connection that has ended waits for a reply that can't come
    port["devices"].append(device);
    config["log"]["is_debug"] = false;
    daemon.start_with(config);
    ASSERT_TRUE(probe.wait_for(sample::value_topic("d_1", "p0"), "1234", seconds(15))) << daemon.log().text();
    int const descriptors = daemon.descriptor_count();
    EXPECT_TRUE(wait_until([&peer] { return peer.connections() > 1000; }, seconds(60))) << peer.connections();
    EXPECT_LE(daemon.descriptor_count(), descriptors + 1);

    peer.stop_listening();
    size_t const mark = daemon.log().mark();
    ASSERT_TRUE(daemon.log().wait_for("не удалось открыть TCP соединение.", seconds(10), mark));
    EXPECT_LE(daemon.descriptor_count(), descriptors + 1);
    peer.listen();
    size_t const back = probe.mark();
    EXPECT_TRUE(probe.wait_for(sample::value_topic("d_1", "p0"), "1234", seconds(15), back));
}
