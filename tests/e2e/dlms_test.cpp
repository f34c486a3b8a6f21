// DLMS through the real binary and broker: a concentrator on TCP, and a meter on a serial line in both disciplines.

#include <string>
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

TEST(Dlms, AMeterOnASerialLine) {
    std::string const to_meter = "02 00 00 00 30 39 EE EE EE EE EE EE 88 E5 00 15 00 00 00 00 ";
    std::string const to_gateway = "EE EE EE EE EE EE 02 00 00 00 30 39 88 E5 00 11 00 00 00 00 ";
    std::string const request = hex::with_crc32(to_meter + wrapped(1, 22, get_energy));
    std::string const answer = hex::with_crc32(to_gateway + wrapped(22, 1, energy_1234));
    for (char const* type : {"dlms.rs", "dlms.rs.old"}) {
        SCOPED_TRACE(type);
        bool const old = std::string(type) == "dlms.rs.old";
        Broker broker;
        Daemon daemon;
        SerialPeer peer(daemon.folder().file("line"));
        bool silent = true;
        bool announced = false;
        int number = 0;
        peer.script().otherwise([&](std::span<unsigned char const> frame) -> Reply {
            std::string const text = hex::text(frame);
            std::string const status = "02 00 00 00 30 39 ";
            if (silent) {
                // Nothing comes of the first request.
                silent = text != request;
                return {};
            }
            if (text == request) {
                announced = old;
                return {.hex = old ? hex::with_crc32(status + fmt::sprintf("%02X00 00000025", ++number % 16)) : answer};
            }
            bool const accepted = text == hex::with_crc32(status + "0000 00000000");
            std::string const reply = accepted && announced ? answer : "";
            announced = false;
            return {.hex = reply};
        });
        Json::Value config = config_of(broker.port(), R"({"name": "p", "poll_interval": 1, "rto": 300, "devices": [
            {"name": "meter", "sn": "AB12345", "params": [{"name": "energy", "class_id": 3, "scale": 0.1, "unit": "kWh",
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
        EXPECT_EQ(probe.count(sample::value_topic("meter", "energy"), "123.40 kWh"), 3);
        EXPECT_GT(
            daemon.log().count(old ? "[4] [energy] get_ats : last_ats = 1." : "[4] [energy] начало опроса (new)."), 0);
        EXPECT_EQ(daemon.log().count("[3] [nameless] для устройства не указан серийный номер. Устройство будет "
                                     "заблокировано."),
                  1);
    }
}
