// DLMS through the real binary and broker: a concentrator on TCP, and a meter on a serial line in both disciplines.

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <fmt/printf.h>
#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/hex.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/serial_peer.h"
#include "support/tcp_peer.h"
#include "support/wait_until.h"

using std::chrono::seconds;

namespace {

/// A wrapped frame from one address to another.
std::string wrapped(int from, int to, std::string const& data) {
    return fmt::sprintf("00 01 %04X %04X %04X ", from, to, static_cast<int>(hex::bytes(data).size())) + data;
}

Json::Value config_of(int broker_port, char const* port) {
    Json::Value config = sample::root(broker_port);
    config["ports"].append(sample::json(port));
    return config;
}

constexpr char get_energy[] = "C0 01 C1 00 03 01 00 01 08 00 FF 02 00";
constexpr char energy_1234[] = "C4 01 C1 00 06 00 00 04 D2";
constexpr char set_limit[] = "C1 01 C1 00 03 01 00 02 08 00 FF 02 00 12 01 F4";
constexpr char get_limit[] = "C0 01 C1 00 03 01 00 02 08 00 FF 02 00";
constexpr char clear_meter[] = "C3 01 C1 00 09 00 00 0A 00 00 FF 01 00 00 00";
constexpr char limit[] = R"({"name": "limit", "class_id": 3, "object_id": "1.0.2.8.0.255", "attr_id": 2,
                             "value_type": "u16", "read_only": false, "poll_interval": 3600})";

/// The concentrator's list: more entries than fit into 1024 bytes, the two meters at its end.
std::string address_list() {
    std::string list = "C4 01 C1 00 01 64";
    for (int entry = 0; entry < 98; ++entry) {
        list += fmt::sprintf(" 02 02 12 %04X 0A 07 4D 45 54 39 39 %02X %02X", 100 + entry, 0x30 + entry / 10,
                             0x30 + entry % 10);
    }
    return list + " 02 02 12 00 11 0A 07 4D 45 54 30 30 30 31 02 02 12 00 12 09 04 00 00 01 02";
}

}  // namespace

TEST(Dlms, MetersBehindAConcentrator) {
    Broker broker;
    TcpPeer peer;
    peer.script()
        .on(wrapped(1, 1, "C0 01 C1 00 11 00 00 29 00 00 FF 02 00"), wrapped(1, 1, address_list()))
        .on(wrapped(1, 0x11, get_energy), wrapped(0x11, 1, energy_1234))
        .on(wrapped(1, 0x12, get_energy), wrapped(0x12, 1, "C4 01 C1 00 02 02 11 01 0A 02 41 42"))
        .on(wrapped(1, 0x11, get_limit), wrapped(0x11, 1, "C4 01 C1 00 12 01 F4"))
        .on(wrapped(1, 0x12, get_limit), wrapped(0x12, 1, "C4 01 C1 00 12 00 07"))
        .on(wrapped(1, 0x11, set_limit), wrapped(0x11, 1, "C5 01 C1 00 00"))
        .on(wrapped(1, 0x12, set_limit), wrapped(0x12, 1, "C5 01 C1 03 00"))
        .on(wrapped(1, 0x12, clear_meter), wrapped(0x12, 1, "C7 01 C1 00 00"))
        // Another meter answers for one that isn't on the list.
        .on(wrapped(1, 0, get_energy), wrapped(0x11, 1, energy_1234));
    Json::Value config =
        config_of(broker.port(), R"({"name": "p", "type": "dlms.tcp", "poll_interval": 1, "rto": 500})");
    Json::Value& port = config["ports"][0];
    port["tcp"] = sample::tcp_port("p", peer.port())["tcp"];
    constexpr char const* const serials[][2] = {{"one", "MET0001"}, {"two", "00000102"}, {"lost", "MET7777"}};
    for (auto const& [name, sn] : serials) {
        Json::Value device = sample::json(R"({"params": [
            {"name": "energy", "class_id": 3, "object_id": "1.0.1.8.0.255", "attr_id": 2, "value_type": "u32"}]})");
        device["name"] = name;
        device["sn"] = sn;
        if (std::string(name) != "lost") {
            device["params"].append(sample::json(limit));
        }
        port["devices"].append(device);
    }
    Daemon daemon;
    MqttProbe probe(broker.port());
    daemon.start_with(config);
    auto const value = probe.wait_for(sample::value_topic("one", "energy"), "1234", seconds(15));
    ASSERT_TRUE(value) << daemon.log().text();
    EXPECT_EQ(value->qos, 2);
    EXPECT_TRUE(probe.wait_for(sample::value_topic("two", "energy"), "#s#1#s#AB#s#", seconds(5)));
    EXPECT_TRUE(daemon.log().wait_for("[4] [p] device = two, dlms_addr = 18.", seconds(1)));
    EXPECT_EQ(daemon.log().count("[3] [lost] для устройства не определен dlms_addr и оно будет заблокировано."), 1);
    // Blocked is a word only: it is asked, and its failure is told once.
    EXPECT_TRUE(probe.wait_for_count(sample::error_topic("lost", "energy"), 3, seconds(10)));
    EXPECT_GT(daemon.log().count("[3] wpdu.parse : не тот отправитель : 0 != 17."), 0);
    EXPECT_EQ(probe.count("/devices/error", "lost"), 1);

    size_t mark = probe.mark();
    ASSERT_TRUE(probe.publish(sample::on_topic("one", "limit"), "500"));
    EXPECT_TRUE(probe.wait_for(sample::value_topic("one", "limit"), "500", seconds(5), mark)) << daemon.log().text();
    ASSERT_TRUE(probe.publish(sample::on_topic("two", "limit"), "500"));
    EXPECT_TRUE(daemon.log().wait_for("[3] [limit] ошибка при записи значения.", seconds(5)));
    EXPECT_EQ(daemon.log().count("pdu.parse : ошибка при записи значения : read-write-denied (3)."), 1);
    ASSERT_TRUE(probe.publish("ostrand", "cmd;er;MET0001"));
    EXPECT_TRUE(daemon.log().wait_for("ER : не найдено устройство с указаным серийным номером.", seconds(5)));
    ASSERT_TRUE(probe.publish("ostrand", "CMD;er;00000102"));
    EXPECT_TRUE(daemon.log().wait_for("[1] [two] proc_command : ER : команда исполнена.", seconds(5)));
    EXPECT_EQ(peer.log().count(hex::text(hex::bytes(wrapped(1, 0x12, clear_meter)))), 1);

    // Away for two passes, and back without a restart.
    peer.stop_listening();
    EXPECT_TRUE(probe.wait_for("/devices/error", "one", seconds(10)));
    peer.listen();
    mark = probe.mark();
    EXPECT_TRUE(probe.wait_for(sample::value_topic("one", "energy"), "1234", seconds(10), mark));
    EXPECT_EQ(daemon.log().count("Перезапуск"), 0);
}

TEST(Dlms, EveryTypeIsWrittenAndReadBack) {
    struct Row {
        char const* type;
        char const* payload;
        char const* item;
        char const* value;  ///< read back; null: a type that is written only
    };
    Row const rows[] = {{"bit", "1", "03 01", nullptr},
                        {"i32", "-5", "05 FF FF FF FB", "-5"},
                        {"u32", "4000000000", "06 EE 6B 28 00", "4000000000"},
                        {"str", "AB", "0A 02 41 42", "AB"},
                        {"i8", "-1", "0F FF", "255"},
                        {"i16", "-2", "10 FF FE", "-2"},
                        {"u8", "7", "11 07", "7"},
                        {"u16", "500", "12 01 F4", "500"},
                        {"float32", "1.5", "17 3F C0 00 00", nullptr},
                        {"str2", "AB", "2B 02 41 42", nullptr},
                        {"str4", "ABCD", "2C 04 41 42 43 44", nullptr}};
    Broker broker;
    TcpPeer peer;
    Json::Value device = sample::json(R"({"name": "typed", "sn": "A", "params": []})");
    peer.script().on(wrapped(1, 1, "C0 01 C1 00 11 00 00 29 00 00 FF 02 00"),
                     wrapped(1, 1, "C4 01 C1 00 01 01 02 02 12 00 11 0A 01 41"));
    auto const object = [&](Row const& row) {
        return fmt::sprintf("C1 00 03 01 00 %02X 08 00 FF 02 00 ", static_cast<int>(&row - rows));
    };
    for (Row const& row : rows) {
        Json::Value param = sample::json(limit);
        param["name"] = std::string("as_") + row.type + "_";
        param["value_type"] = row.type;
        param["object_id"] = fmt::sprintf("1.0.%d.8.0.255", static_cast<int>(&row - rows));
        device["params"].append(param);
        peer.script()
            .on(wrapped(1, 0x11, "C1 01 " + object(row) + row.item), wrapped(0x11, 1, "C5 01 C1 00 00"))
            .on(wrapped(1, 0x11, "C0 01 " + object(row)), wrapped(0x11, 1, std::string("C4 01 C1 00 ") + row.item));
    }
    Json::Value config = config_of(broker.port(), R"({"name": "p", "type": "dlms.tcp", "rto": 500})");
    config["ports"][0]["tcp"] = sample::tcp_port("p", peer.port())["tcp"];
    config["ports"][0]["devices"].append(device);
    Daemon daemon;
    MqttProbe probe(broker.port());
    daemon.start_with(config);
    ASSERT_TRUE(probe.wait_for("stat/p/poll", seconds(20))) << daemon.log().text();
    for (Row const& row : rows) {
        SCOPED_TRACE(row.type);
        std::string const name = std::string("as_") + row.type + "_";
        size_t const mark = probe.mark();
        ASSERT_TRUE(probe.publish(sample::on_topic("typed", name), row.payload));
        EXPECT_TRUE(peer.log().wait_for(hex::text(hex::bytes(wrapped(1, 0x11, "C1 01 " + object(row) + row.item))),
                                        seconds(5)));
        EXPECT_TRUE(row.value != nullptr
                        ? probe.wait_for(sample::value_topic("typed", name), row.value, seconds(5), mark)
                        : probe.wait_for(sample::error_topic("typed", name), "r", seconds(5), mark))
            << daemon.log().text();
    }
}

TEST(Dlms, AMeterOnASerialLine) {
    auto const frame_of = [](std::string const& macs, std::string const& data) {
        int const size = static_cast<int>(hex::bytes(data).size());
        return hex::with_crc32(macs + fmt::sprintf(" 88 E5 00 %02X 00 00 00 00 ", size) + data);
    };
    auto const to_meter = [&](std::string const& request) {
        return frame_of("02 00 00 00 30 39 EE EE EE EE EE EE", wrapped(1, 22, request));
    };
    auto const to_gateway = [&](std::string const& response) {
        return frame_of("EE EE EE EE EE EE 02 00 00 00 30 39", wrapped(22, 1, response));
    };
    std::map<std::string, std::string> const answers = {
        {to_meter(get_energy), to_gateway(energy_1234)},
        {to_meter(get_limit), to_gateway("C4 01 C1 00 12 01 F4")},
        {to_meter(set_limit), to_gateway("C5 01 C1 00 00")},
        {to_meter("C1 01 C1 00 03 01 00 02 08 00 FF 02 00 12 00 01"), to_gateway("C5 01 C1 0C 00")},
        {to_meter(clear_meter), to_gateway("C7 01 C1 00 00")}};
    for (char const* type : {"dlms.rs", "dlms.rs.old"}) {
        SCOPED_TRACE(type);
        bool const old = std::string(type) == "dlms.rs.old";
        Broker broker;
        Daemon daemon;
        SerialPeer peer(daemon.folder().file("line"));
        int silent = 2;
        std::string waiting;  // the answer that the status announces
        int number = 0;
        peer.script().otherwise([&](std::span<unsigned char const> frame) -> Reply {
            std::string const text = hex::text(frame);
            std::string const status = "02 00 00 00 30 39 ";
            auto const answer = answers.find(text);
            if (silent > 0) {
                // Nothing comes of the two requests of the first pass.
                silent -= answer != answers.end() ? 1 : 0;
                return {};
            }
            if (answer != answers.end() && old) {
                waiting = answer->second;
                int const size = static_cast<int>(hex::bytes(waiting).size()) - 4;
                return {.hex = hex::with_crc32(status + fmt::sprintf("%02X00 %08X", ++number % 16, size))};
            }
            if (answer != answers.end()) {
                return {.hex = answer->second};
            }
            bool const accepted = text == hex::with_crc32(status + "0000 00000000");
            return {.hex = accepted ? std::exchange(waiting, {}) : ""};
        });
        Json::Value config = config_of(broker.port(), R"({"name": "p", "poll_interval": 1, "rto": 300, "devices": [
            {"name": "meter", "sn": "AB12345", "params": [{"name": "limit", "class_id": 3, "object_id": "1.0.2.8.0.255",
             "attr_id": 2, "value_type": "u16", "read_only": false, "poll_interval": 3600}, {"name": "energy", "class_id": 3, "scale": 0.1, "unit": "kWh",
             "object_id": "1.0.1.8.0.255", "attr_id": 2, "value_type": "u32"}]},
            {"name": "nameless", "params": [{"name": "e", "class_id": 3, "object_id": "1.0.1.8.0.255", "attr_id": 2,
             "enabled": false}]}]})");
        config["ports"][0]["type"] = type;
        config["ports"][0]["rs"] = sample::rs_port("p", peer.path())["rs"];
        MqttProbe probe(broker.port());
        daemon.start_with(config);
        EXPECT_TRUE(probe.wait_for("/devices/error", "meter", seconds(20))) << daemon.log().text();
        EXPECT_TRUE(probe.wait_for_count(sample::value_topic("meter", "energy"), 3, seconds(20)))
            << daemon.log().text();
        EXPECT_EQ(probe.count(sample::value_topic("meter", "energy")),
                  probe.count(sample::value_topic("meter", "energy"), "123.40 kWh"));
        EXPECT_GT(
            daemon.log().count(old ? "[4] [energy] get_ats : last_ats = 1." : "[4] [energy] начало опроса (new)."), 0);
        size_t mark = probe.mark();
        ASSERT_TRUE(probe.publish(sample::on_topic("meter", "limit"), "500"));
        EXPECT_TRUE(probe.wait_for(sample::value_topic("meter", "limit"), "500", seconds(10), mark))
            << daemon.log().text();
        ASSERT_TRUE(probe.publish(sample::on_topic("meter", "limit"), "1"));
        EXPECT_TRUE(
            daemon.log().wait_for("[3] pdu.parse : ошибка при записи значения : type-unmatched (12).", seconds(10)));
        ASSERT_TRUE(probe.publish("ostrand", "cmd;er;AB12345"));
        EXPECT_TRUE(daemon.log().wait_for("ER : не найдено устройство с указаным серийным номером.", seconds(10)));
        EXPECT_EQ(daemon.log().count("[3] [nameless] для устройства не указан серийный номер. Устройство будет "
                                     "заблокировано."),
                  1);
        // What is written while the line is away waits for it.
        peer.unplug();
        constexpr char cannot_open[] = "[3] [p] не удалось открыть COM порт.";
        ASSERT_TRUE(daemon.log().wait_for(cannot_open, seconds(10)));
        mark = probe.mark();
        ASSERT_TRUE(probe.publish(sample::on_topic("meter", "limit"), "500"));
        ASSERT_TRUE(probe.wait_for(sample::on_topic("meter", "limit"), "500", seconds(5), mark));
        int const passes = daemon.log().count(cannot_open);
        ASSERT_TRUE(wait_until([&] { return daemon.log().count(cannot_open) >= passes + 2; }, seconds(10)));
        peer.plug();
        EXPECT_TRUE(probe.wait_for(sample::value_topic("meter", "limit"), "500", seconds(10), mark))
            << daemon.log().text();
    }
}
