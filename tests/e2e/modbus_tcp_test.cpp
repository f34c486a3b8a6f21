// Modbus TCP through the real binary: a slave of libmodbus, connections that end, and a process that replaces itself.

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/libmodbus_tcp_slave.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/tcp_peer.h"

using std::chrono::seconds;

namespace {

Json::Value tcp_device(std::string const& name, int unit, bool all_params = false) {
    Json::Value device = sample::json(R"({"type": "mb-tcp", "params": []})");
    device["name"] = name;
    device["sid"] = unit;
    device["all_params"] = all_params;
    return device;
}

/// A port with a device "d" of unit 1 that holds `params`.
Json::Value one_port(int broker_port, int peer_port, char const* params, int rto = 300) {
    Json::Value config = sample::root(broker_port);
    Json::Value port = sample::tcp_port("p", peer_port);
    port["poll_interval"] = 0;
    port["rto"] = rto;
    Json::Value device = tcp_device("d", 1);
    device["params"] = sample::json(params);
    port["devices"].append(device);
    config["ports"].append(port);
    return config;
}

constexpr char one_param[] = R"([{"name": "a", "reg_addr": 16, "value_type": "u16"}])";
constexpr char request[] = "00 01 00 00 00 06 01 03 00 10 00 01";
constexpr char answer[] = "00 01 00 00 00 05 01 03 02 04 D2";

}  // namespace

TEST(ModbusTcp, ReadsWritesAndSetsOfARealSlave) {
    Broker broker;
    LibmodbusTcpSlave slave;
    slave.with_image([](modbus_mapping_t& image) {
        image.tab_registers[0] = 0x1234;
        image.tab_registers[1] = 0x0005;
        image.tab_registers[299] = 299;
        image.tab_input_registers[7] = 700;
        image.tab_bits[0] = 1;
        image.tab_bits[2500] = 1;
        image.tab_input_bits[3] = 1;
    });
    Json::Value config = sample::root(broker.port());
    Json::Value port = sample::tcp_port("p", slave.port());
    port["poll_interval"] = 1;
    Json::Value single = tcp_device("single", 1);
    single["params"] = sample::json(R"([
        {"name": "u16", "reg_addr": 0, "value_type": "u16", "read_only": false},
        {"name": "u32", "reg_addr": 20, "value_type": "u32", "reg_type": "holding-m", "read_only": false},
        {"name": "coil", "reg_addr": 9, "value_type": "bit", "reg_type": "coil", "read_only": false},
        {"name": "bits", "reg_addr": 1, "value_type": "u16", "reg_type": "holding-bit", "read_only": false,
         "bh_list": [{"name": "b0", "offset": 0}, {"name": "b1", "offset": 1}]},
        {"name": "bounced", "reg_addr": 0, "value_type": "u16", "debounce": 1000},
        {"name": "status", "reg_addr": 3, "value_type": "bit", "reg_type": "status"},
        {"name": "input", "reg_addr": 7, "value_type": "u16", "reg_type": "input", "scale": 0.1, "unit": "V"}])");
    Json::Value set = tcp_device("set", 1, true);
    set["params"] = sample::json(R"([
        {"name": "first", "reg_addr": 0, "value_type": "u16", "converter_read": "'converted'"},
        {"name": "last", "reg_addr": 299, "value_type": "u16"},
        {"name": "c0", "reg_addr": 0, "reg_type": "coil"}, {"name": "c2500", "reg_addr": 2500, "reg_type": "coil"},
        {"name": "s3", "reg_addr": 3, "reg_type": "status"},
        {"name": "i7", "reg_addr": 7, "value_type": "u16", "reg_type": "input"}])");
    Json::Value neighbour = tcp_device("single", 2);
    neighbour["params"] = sample::json(R"([{"name": "u16", "reg_addr": 299, "value_type": "u16"}])");
    port["devices"].append(single);
    port["devices"].append(set);
    port["devices"].append(neighbour);
    config["ports"].append(port);

    Daemon daemon;
    daemon.start_with(config, {"-h"});
    MqttProbe probe(broker.port());
    struct Value {
        char const* device;
        char const* param;
        char const* text;
    };
    for (Value const& value : {Value{"single_1", "u16", "4660"},
                               {"single_1", "bits_b0", "1"},
                               {"single_1", "bits_b1", "0"},
                               {"single_1", "bounced", "4660"},
                               {"single_1", "status", "1"},
                               {"single_1", "coil", "0"},
                               {"single_1", "input", "70.00 V"},
                               {"set_1", "first", "4660"},
                               {"set_1", "last", "299"},
                               {"set_1", "c0", "1"},
                               {"set_1", "c2500", "1"},
                               {"set_1", "s3", "1"},
                               {"set_1", "i7", "700"},
                               {"single_2", "u16", "299"}}) {
        auto const message = probe.wait_for(sample::value_topic(value.device, value.param), value.text, seconds(15));
        EXPECT_TRUE(message && message->qos == 2) << value.param << '\n' << daemon.log().text();
    }
    // 300 registers in three requests, 2501 coils in two.
    for (char const* frame :
         {"03 00 00 00 7D", "03 00 7D 00 7D", "03 00 FA 00 32", "01 00 00 07 D0", "01 07 D0 01 F5"}) {
        EXPECT_GT(daemon.log().count(std::string("ЗАПРОС : 00 01 00 00 00 06 01 ") + frame), 0) << frame;
    }
    EXPECT_GT(daemon.log().count("запрос : 00 01 00 00 00 06 02 03 01 2B 00 01"), 0) << "another unit, same gateway";

    for (Value const& write :
         {Value{"single_1", "u16", "77"}, {"single_1", "u32", "4000000000"}, {"single_1", "coil", "1"}}) {
        size_t const mark = probe.mark();
        ASSERT_TRUE(probe.publish(sample::on_topic(write.device, write.param), write.text));
        EXPECT_TRUE(probe.wait_for(sample::value_topic(write.device, write.param), write.text, seconds(5), mark))
            << write.param;
    }
    ASSERT_TRUE(probe.publish(sample::on_topic("single_1", "bits_b1"), "1"));
    EXPECT_TRUE(probe.wait_for(sample::value_topic("single_1", "bits_b1"), "1", seconds(5)));
    slave.with_image([](modbus_mapping_t& image) {
        EXPECT_EQ(image.tab_registers[0], 77);
        EXPECT_EQ(image.tab_registers[1], 7);
        EXPECT_EQ(image.tab_registers[20], 0xEE6B);
        EXPECT_EQ(image.tab_registers[21], 0x2800);
        EXPECT_EQ(image.tab_bits[9], 1);
    });
}

TEST(ModbusTcp, APeerThatIsAwayCostsNextToNothingAndLeavesNoDescriptor) {
    Broker broker;
    TcpPeer peer;
    // Every connection serves one answer only.
    peer.script().on(request, Reply{.hex = answer, .hang_up = HangUp::after_reply});
    Daemon daemon;
    MqttProbe probe(broker.port());
    // A request on a connection that has ended waits for a reply that can't come, so the time-out is short here.
    Json::Value config = one_port(broker.port(), peer.port(), one_param, 20);
    for (int index = 0; index < 100; ++index) {
        Json::Value param = config["ports"][0]["devices"][0]["params"][0];
        param["name"] = "p" + std::to_string(index);
        config["ports"][0]["devices"][0]["params"].append(param);
    }
    config["log"]["is_debug"] = false;
    daemon.start_with(config);
    ASSERT_TRUE(probe.wait_for(sample::value_topic("d_1", "a"), "1234", seconds(15))) << daemon.log().text();
    int const descriptors = daemon.descriptor_count();
    EXPECT_TRUE(wait_until([&peer] { return peer.connections() > 1000; }, seconds(60))) << peer.connections();
    EXPECT_LE(daemon.descriptor_count(), descriptors + 1);

    peer.stop_listening();
    size_t const mark = daemon.log().mark();
    ASSERT_TRUE(daemon.log().wait_for("не удалось открыть TCP соединение.", seconds(10), mark));
    EXPECT_LE(daemon.descriptor_count(), descriptors + 1);
    peer.listen();
    size_t const back = probe.mark();
    EXPECT_TRUE(probe.wait_for(sample::value_topic("d_1", "a"), "1234", seconds(15), back));
}

// A fault that the driver can't explain touches the file, and the process replaces itself: once for each failing poll.
TEST(ModbusTcp, AnExceptionInAPollReplacesTheProcess) {
    struct Row {
        char const* param;
        char const* reply;
        char const* line;
    };
    Row const rows[] = {
        {R"([{"name": "a", "reg_addr": 16, "value_type": "u16", "converter_read": "nothing"}])", answer,
         "[3] [a] исключение при опросе : ReferenceError"},
        // A length of 3 announces a head and not one byte of a value.
        {one_param, "00 01 00 00 00 03 01 03 02", "[3] [a] исключение при опросе : a # пустое значение."},
    };
    for (Row const& row : rows) {
        Broker broker;
        TcpPeer peer;
        peer.script().on(request, row.reply);
        Daemon daemon;
        daemon.start_with(one_port(broker.port(), peer.port(), row.param));
        size_t mark = 0;
        for (int image = 0; image < 2; ++image) {
            ASSERT_TRUE(daemon.log().wait_for(row.line, seconds(15), mark)) << daemon.log().text(mark);
            ASSERT_TRUE(daemon.log().wait_for("Перезапуск ostrand...", seconds(5), mark)) << daemon.log().text(mark);
            mark = daemon.log().mark();
            // Until then the old image goes on polling, and failing.
            ASSERT_TRUE(daemon.log().wait_for("начало работы :", seconds(10), mark)) << daemon.log().text(mark);
            EXPECT_EQ(daemon.log().count("начало работы :"), image + 2);
            mark = daemon.log().mark();
        }
    }
}
