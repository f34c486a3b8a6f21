// Modbus TCP through the real binary: a slave of libmodbus, and scripted peers for what that one never does. Requests
// and replies are written out as they go over the wire.

#include <atomic>
#include <chrono>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/hex.h"
#include "support/libmodbus_tcp_slave.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/serial_peer.h"
#include "support/tcp_peer.h"
#include "support/wait_until.h"

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
Json::Value one_port(int broker_port, int peer_port, char const* params, bool all_params = false, int rto = 300) {
    Json::Value config = sample::root(broker_port);
    Json::Value port = sample::tcp_port("p", peer_port);
    port["poll_interval"] = 0;
    port["rto"] = rto;
    Json::Value device = tcp_device("d", 1, all_params);
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

TEST(ModbusTcp, APeerThatMisbehavesIsToldAndRecoveredFrom) {
    struct Row {
        char const* name;
        Reply reply;
        std::vector<char const*> lines;
    };
    Row const rows[] = {
        {"silence", {}, {"ответ НЕ получен : timeout."}},
        {"closed before the reply", {.hang_up = HangUp::before_reply}, {"ответ НЕ получен"}},
        {"closed in the reply", {.hex = answer, .hang_up = HangUp::in_reply}, {"ответ НЕ получен"}},
        {"half a header", {.hex = "00 01 00"}, {"ответ НЕ получен : timeout."}},
        {"length 0", {.hex = "00 01 00 00 00 00"}, {"операция НЕ выполнена : timeout."}},
        {"length 65535", {.hex = "00 01 00 00 FF FF"}, {"ответ НЕ получен : timeout."}},
        {"another unit", {.hex = "00 01 00 00 00 05 02 03 02 04 D2"}, {"операция НЕ выполнена : не совпали SlaveId."}},
        {"refusal", {.hex = "00 01 00 00 00 03 01 83 04"}, {"операция НЕ выполнена : Невосстанавливаемая ошибка"}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        Broker broker;
        TcpPeer peer;
        peer.script().once(request, row.reply).on(request, answer);
        Daemon daemon;
        MqttProbe probe(broker.port());
        daemon.start_with(one_port(broker.port(), peer.port(), one_param));
        EXPECT_TRUE(probe.wait_for(sample::error_topic("d_1", "a"), "r", seconds(15))) << daemon.log().text();
        EXPECT_TRUE(probe.wait_for("/devices/error", "d_1", seconds(5)));
        EXPECT_TRUE(probe.wait_for(sample::value_topic("d_1", "a"), "1234", seconds(10))) << daemon.log().text();
        for (char const* line : row.lines) {
            EXPECT_GT(daemon.log().count(line), 0) << daemon.log().text();
        }
        EXPECT_EQ(daemon.log().count("Перезапуск"), 0);
    }
}

TEST(ModbusTcp, APieceAtATimeIsGathered) {
    Broker broker;
    TcpPeer peer;
    peer.script().on(request, Reply{.hex = answer, .fragment = 1, .gap_ms = 5});
    Daemon daemon;
    MqttProbe probe(broker.port());
    daemon.start_with(one_port(broker.port(), peer.port(), one_param, false, 1000));
    EXPECT_TRUE(probe.wait_for(sample::value_topic("d_1", "a"), "1234", seconds(15))) << daemon.log().text();
}

// Sets flush before they ask, single reads don't: they stay one reply behind until the connection is new.
TEST(ModbusTcp, TwoRepliesAtOnce) {
    for (bool const all_params : {true, false}) {
        SCOPED_TRACE(all_params);
        Broker broker;
        TcpPeer peer;
        std::string const surplus = "00 01 00 00 00 05 01 03 02 00 01 00 01 00 00 00 05 01 03 02 00 02";
        peer.script().once(request, surplus).on(request, "00 01 00 00 00 05 01 03 02 00 03");
        Daemon daemon;
        MqttProbe probe(broker.port());
        daemon.start_with(one_port(broker.port(), peer.port(), one_param, all_params));
        ASSERT_TRUE(probe.wait_for_count(sample::value_topic("d_1", "a"), 3, seconds(15))) << daemon.log().text();
        std::vector<std::string> seen;
        for (MqttMessage const& message : probe.on_topic(sample::value_topic("d_1", "a"))) {
            seen.push_back(message.payload);
        }
        seen.resize(3);
        EXPECT_EQ(seen,
                  (all_params ? std::vector<std::string>{"1", "3", "3"} : std::vector<std::string>{"1", "2", "3"}));
        if (!all_params) {
            peer.drop();
            peer.script().on(request, answer);
            EXPECT_TRUE(probe.wait_for(sample::value_topic("d_1", "a"), "1234", seconds(10)));
        }
    }
}

TEST(ModbusTcp, AFailedChunkFailsItsSetAndTheOthersRun) {
    Broker broker;
    TcpPeer peer;
    std::string const full = "00 01 00 00 00 FD 01 03 FA" + [] {
        std::string zeros;
        for (int byte = 0; byte < 250; ++byte) {
            zeros += " 00";
        }
        return zeros;
    }();
    peer.script()
        .on("00 01 00 00 00 06 01 03 00 00 00 7D", full)
        .on("00 01 00 00 00 06 01 03 00 7D 00 01", "00 01 00 00 00 03 01 83 02")
        .on("00 01 00 00 00 06 01 04 00 05 00 01", "00 01 00 00 00 05 01 04 02 00 09");
    Daemon daemon;
    MqttProbe probe(broker.port());
    daemon.start_with(one_port(broker.port(), peer.port(), R"([
        {"name": "a", "reg_addr": 0, "value_type": "u16"}, {"name": "b", "reg_addr": 125, "value_type": "u16"},
        {"name": "i", "reg_addr": 5, "value_type": "u16", "reg_type": "input"}])",
                               true));
    EXPECT_TRUE(probe.wait_for(sample::value_topic("d_1", "i"), "9", seconds(15))) << daemon.log().text();
    EXPECT_GT(probe.count(sample::error_topic("d_1", "a"), "r"), 0);
    EXPECT_GT(probe.count(sample::error_topic("d_1", "b"), "r"), 0);
    EXPECT_EQ(probe.count(sample::value_topic("d_1", "a")), 0);
    EXPECT_GT(daemon.log().count(
                  "[3] [p] RTU запрос : операция НЕ выполнена : Адрес данных, указанный в запросе, недоступен"),
              0);
    EXPECT_TRUE(probe.wait_for("stat/p/poll", "Статистика p : опросов = 3 : ошибок = 2 [ 66.00 ] : вне диапазона = 0.",
                               seconds(5)));
}

// A reply that is shorter than asked for: what has arrived counts, and nothing behind it is read.
TEST(ModbusTcp, AShortReplyOfASet) {
    Broker broker;
    TcpPeer peer;
    peer.script().on("00 01 00 00 00 06 01 03 00 00 00 03", "00 01 00 00 00 05 01 03 02 00 08");
    Daemon daemon;
    MqttProbe probe(broker.port());
    daemon.start_with(one_port(broker.port(), peer.port(), R"([
        {"name": "a", "reg_addr": 0, "value_type": "u16"}, {"name": "b", "reg_addr": 1, "value_type": "u32"}])",
                               true));
    EXPECT_TRUE(probe.wait_for(sample::value_topic("d_1", "a"), "8", seconds(15))) << daemon.log().text();
    EXPECT_TRUE(probe.wait_for(sample::error_topic("d_1", "b"), "r", seconds(5)));
    EXPECT_GT(daemon.log().count("[3] [b] ответ короче запрошенного"), 0);
}

TEST(ModbusTcp, ARefusedWriteCountsAsTakenAndTheReadBackShowsTheTruth) {
    Broker broker;
    TcpPeer peer;
    peer.script().on(request, answer).on("00 01 00 00 00 06 01 06 00 10 00 07", "00 01 00 00 00 03 01 86 02");
    Daemon daemon;
    MqttProbe probe(broker.port());
    daemon.start_with(one_port(broker.port(), peer.port(),
                               R"([{"name": "a", "reg_addr": 16, "value_type": "u16", "read_only": false}])"));
    ASSERT_TRUE(probe.wait_for(sample::value_topic("d_1", "a"), "1234", seconds(15))) << daemon.log().text();
    size_t const mark = daemon.log().mark();
    ASSERT_TRUE(probe.publish(sample::on_topic("d_1", "a"), "7"));
    EXPECT_TRUE(daemon.log().wait_for("[1] [a] записано новое значение : 7.", seconds(5), mark));
    EXPECT_TRUE(probe.wait_for_count(sample::value_topic("d_1", "a"), 2, seconds(5)));
    for (MqttMessage const& message : probe.on_topic(sample::value_topic("d_1", "a"))) {
        EXPECT_EQ(message.payload, "1234");
    }
}

// Register n holds n. An answer that comes behind the time-out must never be taken for that of the next request, or
// from there on every value stands under its neighbour's topic.
TEST(ModbusTcp, ALateAnswerIsNotTakenForTheNextOne) {
    constexpr int parameters = 20;
    for (bool const rtu : {false, true}) {
        SCOPED_TRACE(rtu ? "RTU frames" : "Modbus TCP");
        Broker broker;
        TcpPeer peer;
        Json::Value params(Json::arrayValue);
        for (int number = 1; number <= parameters; ++number) {
            params.append(sample::json(R"({"value_type": "u16"})"));
            params[number - 1]["name"] = "r" + std::to_string(number);
            params[number - 1]["reg_addr"] = number;
        }
        std::atomic<int> asked_for_fourth = 0;
        peer.script().otherwise([rtu, &asked_for_fourth](std::span<unsigned char const> asked) {
            size_t const unit = rtu ? 0 : 6;
            unsigned char const number = asked[unit + 3];
            std::vector<unsigned char> answer = {asked[unit], 3, 2, 0, number};
            Reply reply{.hex = rtu ? hex::with_crc16(hex::text(answer)) : "00 01 00 00 00 05 " + hex::text(answer)};
            if (number == 4 && asked_for_fourth++ == 0) {
                reply.delay_ms = 450;
            }
            return reply;
        });
        Json::Value config = sample::root(broker.port());
        Json::Value port = sample::tcp_port("p", peer.port());
        port["rto"] = 300;
        port["poll_interval"] = 0;
        port["devices"].append(rtu ? sample::rtu_device("d", 1) : tcp_device("d", 1));
        port["devices"][0]["params"] = params;
        config["ports"].append(port);
        Daemon daemon;
        MqttProbe probe(broker.port());
        daemon.start_with(config);
        ASSERT_TRUE(probe.wait_for_count(sample::value_topic("d_1", "r20"), 2, seconds(20))) << daemon.log().text();
        for (int number = 1; number <= parameters; ++number) {
            std::string const topic = sample::value_topic("d_1", "r" + std::to_string(number));
            EXPECT_TRUE(probe.wait_for_count(topic, 1, seconds(5))) << topic;
            for (MqttMessage const& message : probe.on_topic(topic)) {
                EXPECT_EQ(message.payload, std::to_string(number)) << topic;
            }
        }
        EXPECT_GE(daemon.log().count("[4] [r4] ответ пришёл не целиком : соединение закрыто."), 1);
        EXPECT_EQ(daemon.log().count("tcpTran::flush_in : ошибка (is_open)."), 0);
    }
}

TEST(ModbusTcp, ASetBehindASilentDeviceIsReadInEveryPass) {
    Broker broker;
    TcpPeer peer;
    peer.script().on("00 01 00 00 00 06 02 03 00 10 00 01", "00 01 00 00 00 05 02 03 02 04 D2");
    Json::Value config = one_port(broker.port(), peer.port(), one_param);
    Json::Value set = tcp_device("s", 2, true);
    set["params"] = sample::json(one_param);
    config["ports"][0]["devices"].append(set);
    Daemon daemon;
    MqttProbe probe(broker.port());
    daemon.start_with(config);
    ASSERT_TRUE(probe.wait_for_count(sample::error_topic("d_1", "a"), 3, seconds(20))) << daemon.log().text();
    EXPECT_TRUE(probe.wait_for_count(sample::value_topic("s_2", "a"), 3, seconds(5)));
    EXPECT_EQ(probe.count(sample::error_topic("s_2", "a")), 0);
}

TEST(ModbusTcp, RtuFramesThroughATcpPort) {
    Broker broker;
    TcpPeer peer;
    peer.script().on("05 03 00 10 00 01 84 4B", Reply{.hex = "05 03 02 04 D2 CB 19", .fragment = 2, .gap_ms = 5});
    Json::Value config = sample::root(broker.port());
    Json::Value port = sample::tcp_port("p", peer.port());
    Json::Value device = sample::rtu_device("d", 5);
    device["params"] = sample::json(one_param);
    port["devices"].append(device);
    config["ports"].append(port);
    Daemon daemon;
    MqttProbe probe(broker.port());
    daemon.start_with(config);
    EXPECT_TRUE(probe.wait_for(sample::value_topic("d_5", "a"), "1234", seconds(15))) << daemon.log().text();
}

TEST(ModbusTcp, APeerThatIsAwayCostsNextToNothingAndLeavesNoDescriptor) {
    Broker broker;
    TcpPeer peer;
    // Every connection serves one answer only.
    peer.script().on(request, Reply{.hex = answer, .hang_up = HangUp::after_reply});
    Daemon daemon;
    MqttProbe probe(broker.port());
    // A request on a connection that has ended waits for a reply that can't come, so the time-out is short here.
    Json::Value config = one_port(broker.port(), peer.port(), one_param, false, 20);
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

TEST(MediaController, CommandsAsFramesAndNothingElse) {
    struct Row {
        char const* payload;
        char const* frame;
        char const* line;
    };
    Row const rows[] = {
        {"1.2.255", "5B 01 02 FF 5D", "записано новое значение : 1.2.255"},
        {"300", "5B 2C 5D", "записано новое значение : 300"},
        {"", "5B 5D", "записано новое значение : "},
        {"-1..2", "5B FF 02 5D", "записано новое значение : -1..2"},
        {"1.x", "", "исключение при обработке сообщения # mc : stoi."},
        {"99999999999", "", "исключение при обработке сообщения # mc : stoi."},
    };
    Broker broker;
    Daemon daemon;
    SerialPeer line(daemon.folder().file("line"));
    Json::Value config = sample::root(broker.port());
    Json::Value port = sample::rs_port("p", line.path());
    port["poll_interval"] = 0;
    port["devices"].append(
        sample::json(R"({"name": "mc", "type": "media_ctrl", "sid": 0, "params": [{"name": "scene"}]})"));
    config["ports"].append(port);
    daemon.start_with(config);
    MqttProbe probe(broker.port());
    ASSERT_TRUE(daemon.log().wait_for("subscribe on : /devices/mc/controls/scene/on", seconds(15)));
    ASSERT_TRUE(probe.wait_for("stat/p/poll", seconds(5)));
    std::vector<std::string> expected;
    for (Row const& row : rows) {
        SCOPED_TRACE(row.payload);
        size_t const mark = daemon.log().mark();
        ASSERT_TRUE(probe.publish(sample::on_topic("mc", "scene"), row.payload));
        EXPECT_TRUE(daemon.log().wait_for(row.line, seconds(5), mark)) << daemon.log().text(mark);
        if (*row.frame != '\0') {
            expected.emplace_back(row.frame);
        }
        EXPECT_TRUE(wait_until([&] { return line.log().frames().size() >= expected.size(); }, seconds(2)));
    }
    EXPECT_EQ(line.log().frames(), expected);
    EXPECT_EQ(probe.count(sample::value_topic("mc", "scene")), 0);
}
