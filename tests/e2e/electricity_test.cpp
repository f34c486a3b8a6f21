// The electricity meters with a session on a serial line, through the real binary and broker: what a meter's faults
// lead to, that sessions are opened anew, and that a dead meter doesn't stop the others.

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

constexpr auto limit = seconds(30);

Json::Value make_meter(std::string const& name, char const* type, int sid, int rto) {
    std::string const word = type;
    Json::Value device = sample::json(R"({"params": []})");
    device["name"] = name;
    device["type"] = type;
    device["sid"] = sid;
    device["rto"] = rto;
    device["params"].append(sample::json(word == "milur" ? R"({"object_id": 1, "value_type": "u16"})"
                                         : word == "set-4tm"
                                             ? R"({"command": 8, "param": 17})"
                                             : R"({"reg_type": "param", "bwri": 17, "value_type": "m1"})"));
    device["params"][0]["name"] = name;
    return device;
}

Json::Value make_config(Broker const& broker, SerialPeer const& peer, Json::Value const& devices, int rto) {
    Json::Value config = sample::root(broker.port());
    Json::Value port = sample::rs_port("line", peer.path());
    port["poll_interval"] = 1;
    port["rto"] = rto;
    port["devices"] = devices;
    config["ports"].append(port);
    return config;
}

std::string device_of(std::string const& name, int sid) {
    return name + "_" + std::to_string(sid);
}

/// Each meter reads 100 and its own address.
struct Meter {
    char const* name;
    char const* type;
    int sid;
    char const* open;
    char const* close;
    char const* ask;
    char const* answer;
    std::string value() const { return std::to_string(100 + sid); }
};

struct Fault {
    Meter meter;
    char const* opened;  ///< good reply to opening
    char const* fault;   ///< once, in place of the answer
    char const* told;
    bool reopens = false;
};

Fault const faults[] = {
    {{"mercury_silent", "merc230", 1, "01 01 01 07 03 08 02 00 05 F0 78", "01 02 81 E1", "01 08 11 11 4C 46",
      "01 00 65 00 2A 88"},
     "01 00 00 20",
     "",
     "[3] [mercury_silent] get_response : ответ НЕ получен : timeout."},
    {{"mercury_torn", "merc230", 2, "02 01 01 07 03 08 02 00 05 E4 88", "02 02 81 11", "02 08 11 11 4C 02",
      "02 00 66 00 2A 3C"},
     "02 00 00 D0",
     "02 00 66",
     "[3] [mercury_torn] get_response : ответ НЕ получен : timeout."},
    {{"mercury_status", "merc230", 3, "03 01 01 07 03 08 02 00 05 E9 18", "03 02 80 81", "03 08 11 11 4D FE",
      "03 00 67 00 2A 50"},
     "03 00 01 40",
     "03 02 80 81",
     "[3] [mercury_status] ошибка при выполнении операции : Внутренняя ошибка счетчика."},
    {{"mercury_closed", "merc230", 4, "04 01 01 07 03 08 02 00 05 CF 28", "04 02 82 B1", "04 08 11 11 4C 8A",
      "04 00 68 00 2E D4"},
     "04 00 03 70",
     "04 05 C3 73",
     "[3] [mercury_closed] ошибка при выполнении операции : Не открыт канал связи.",
     true},
    {{"mercury_address", "merc230", 5, "05 01 01 07 03 08 02 00 05 C2 B8", "05 02 83 21", "05 08 11 11 4D 76",
      "05 00 69 00 2E B8"},
     "05 00 02 E0",
     "06 00 69 00 2E FC",
     "[3] [mercury_address_5] get_response : не совпали SlaveId."},
    {{"mercury_crc", "merc230", 6, "06 01 01 07 03 08 02 00 05 D6 48", "06 02 83 D1", "06 08 11 11 4D 32",
      "06 00 6A 00 2E 0C"},
     "06 00 02 10",
     "06 00 6A 00 00 00",
     "[3] [mercury_crc_6] get_response : не совпали CRC."},
    {{"mercury_noise", "merc230", 7, "07 01 01 07 03 08 02 00 05 DB D8", "07 02 82 41", "07 08 11 11 4C CE",
      "07 00 6B 00 2E 60"},
     "07 00 03 80",
     "07 00 6B 00 2E 60 FF 07 00 6C 00",
     ""},
    {{"milur_silent", "milur", 11, "0B 08 00 5C A7 31 E2 0D 9B AA D2", "0B 09 01 C7 92", "0B 01 01 C0 52",
      "0B 01 01 04 6F 00 51 6D"},
     "0B 08 00 07 C2",
     "",
     "[3] [milur_silent] milur::check_head : операция НЕ выполнена: timeout."},
    {{"milur_torn", "milur", 12, "0C 08 00 5C A7 31 E2 0D 9B 8C E2", "0C 09 01 76 53", "0C 01 01 71 93",
      "0C 01 01 04 70 00 58 EA"},
     "0C 08 00 B6 03",
     "0C 01 01 04 70",
     "[3] [milur_torn] milur::get_response : ответ НЕ получен : timeout."},
    {{"milur_busy", "milur", 13, "0D 08 00 5C A7 31 E2 0D 9B 81 72", "0D 09 01 27 93", "0D 01 01 20 53",
      "0D 01 01 04 71 00 58 AB"},
     "0D 08 00 E7 C3",
     "0D 81 06 00 51",
     "[3] [milur_busy] milur::parse_error : операция НЕ выполнена : Устройство занято."},
    {{"milur_closed", "milur", 14, "0E 08 00 5C A7 31 E2 0D 9B 95 82", "0E 09 01 D7 93", "0E 01 01 D0 53",
      "0E 01 01 04 72 00 58 68"},
     "0E 08 00 17 C3",
     "0E 81 08 71 95",
     "[3] [milur_closed] milur::parse_error : операция НЕ выполнена : Сеанс связи закрыт.",
     true},
    {{"milur_address", "milur", 15, "0F 08 00 5C A7 31 E2 0D 9B 98 12", "0F 09 01 86 53", "0F 01 01 81 93",
      "0F 01 01 04 73 00 58 29"},
     "0F 08 00 46 03",
     "0E 01 01 04 73 00 59 F8",
     "[3] [milur_address] milur::check_head : операция НЕ выполнена : не совпали SlaveId."},
    {{"milur_crc", "milur", 16, "10 08 00 5C A7 31 E2 0D 9B 14 22", "10 09 01 B7 95", "10 01 01 B0 55",
      "10 01 01 04 74 00 58 76"},
     "10 08 00 77 C5",
     "10 01 01 04 74 00 00 00",
     "[3] [milur_crc] milur::get_response : ответ НЕ получен : не совпали CRC."},
    {{"milur_noise", "milur", 17, "11 08 00 5C A7 31 E2 0D 9B 19 B2", "11 09 01 E6 55", "11 01 01 E1 95",
      "11 01 01 04 75 00 58 37"},
     "11 08 00 26 05",
     "11 01 01 04 75 00 58 37 FF 11 01 01",
     ""},
};

}  // namespace

TEST(Electricity, EachFaultIsToldAndTheNextGoodAnswerIsRight) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    SerialPeer peer(daemon.folder().file("line"));
    constexpr int rto_ms = 300;
    Json::Value devices;
    for (Fault const& row : faults) {
        Meter const& meter = row.meter;
        devices.append(make_meter(meter.name, meter.type, meter.sid, rto_ms));
        peer.script()
            .on(meter.open, row.opened)
            .on(meter.close, row.opened)
            .once(meter.ask, row.fault)
            .on(meter.ask, meter.answer);
    }
    daemon.start_with(make_config(broker, peer, devices, rto_ms));

    for (Fault const& row : faults) {
        Meter const& meter = row.meter;
        SCOPED_TRACE(meter.name);
        std::string const device = device_of(meter.name, meter.sid);
        bool const fails = *row.told != '\0';
        ASSERT_TRUE(probe.wait_for_count(sample::value_topic(device, meter.name), 2, limit)) << daemon.log().text();
        for (MqttMessage const& message : probe.on_topic(sample::value_topic(device, meter.name))) {
            EXPECT_EQ(message.payload, meter.value());
            EXPECT_EQ(message.qos, 2);
        }
        EXPECT_EQ(probe.count(sample::error_topic(device, meter.name), "r"), fails ? 1 : 0);
        EXPECT_EQ(probe.count("/devices/error", device), fails ? 1 : 0);
        EXPECT_EQ(daemon.log().count(3, meter.name, "ответ НЕ получен"), fails ? 1 : 0);
        EXPECT_TRUE(!fails || daemon.log().count(row.told) == 1) << daemon.log().text();
        EXPECT_EQ(peer.log().count(meter.open), row.reopens ? 2 : 1);
        EXPECT_EQ(peer.log().count(meter.close), row.reopens ? 1 : 0);
    }
}

TEST(Electricity, MetersThatRefuseOrAreDeadLeaveTheLineToTheOthers) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    SerialPeer peer(daemon.folder().file("line"));
    peer.script()
        // A password that is refused, by a Mercury meter and by a Milur meter that answers all the same.
        .on("01 01 01 07 03 08 02 00 05 F0 78", "01 03 40 21")
        .on("01 02 81 E1", "01 00 00 20")
        .on("0B 08 00 5C A7 31 E2 0D 9B AA D2", "0B 88 0D A7 C7")
        .on("0B 09 01 C7 92", "0B 09 01 C7 92")
        .on("0B 01 01 C0 52", "0B 01 01 04 6F 00 51 6D")
        // Two that are well.
        .on("03 01 01 07 03 08 02 00 05 E9 18", "03 00 01 40")
        .on("03 08 11 11 4D FE", "03 00 67 00 2A 50")
        .on("0D 08 00 5C A7 31 E2 0D 9B 81 72", "0D 08 00 E7 C3")
        .on("0D 01 01 20 53", "0D 01 01 04 71 00 58 AB")
        // A SET-4TM meter, which waits for an opening that isn't sent.
        .on("15 09 01 A7 94", "15 09 00 66 54");
    constexpr int dead_rto_ms = 60;
    constexpr int rto_ms = 400;
    Json::Value devices;
    devices.append(make_meter("refused", "merc230", 1, dead_rto_ms));
    devices.append(make_meter("dead_mercury", "merc204", 2, dead_rto_ms));
    devices.append(make_meter("mercury", "merc236", 3, rto_ms));
    devices.append(make_meter("stubborn", "milur", 11, rto_ms));
    devices.append(make_meter("dead_milur", "milur", 12, dead_rto_ms));
    devices.append(make_meter("milur", "milur", 13, rto_ms));
    devices.append(make_meter("silent", "set-4tm", 21, dead_rto_ms));
    // Its own settings are for a line that isn't there: it must not be asked on the others'.
    devices.append(make_meter("elsewhere", "milur", 14, dead_rto_ms));
    devices[7]["rs"]["path"] = daemon.folder().file("nowhere");
    daemon.start_with(make_config(broker, peer, devices, dead_rto_ms));

    for (auto const& [device, value] : {std::pair{std::string("mercury"), 103}, {"stubborn", 111}, {"milur", 113}}) {
        SCOPED_TRACE(device);
        std::string const topic = sample::value_topic(device_of(device, value - 100), device);
        ASSERT_TRUE(probe.wait_for_count(topic, 3, limit)) << daemon.log().text();
        EXPECT_EQ(probe.count(topic), probe.count(topic, std::to_string(value)));
    }
    for (char const* device : {"dead_milur_12", "elsewhere_14"}) {
        std::string const param = std::string(device).substr(0, std::string(device).rfind('_'));
        EXPECT_GE(probe.count(sample::error_topic(device, param), "r"), 2) << device;
        EXPECT_EQ(probe.count("/devices/error", device), 1);
    }
    for (char const* line :
         {"[3] [refused_1] ошибка при выполнении операции : Недостаточен уровень для удовлетворения "
          "запроса.",
          "[3] [dead_mercury_2] Stop : ответ не получен.", "[3] [dead_mercury_2] Start : ответ не получен.",
          "[3] [stubborn_11] milur::parse_error : операция НЕ выполнена : Неверный пароль.",
          "[3] [dead_milur_12] milur::Start : ответ не получен.",
          "[3] [dead_milur] milur::check_head : операция НЕ выполнена: timeout.",
          "[3] [silent_21] Start : ответ не получен.",
          "[3] [elsewhere_14] персональные настройки линии недоступны : возвращены настройки порта."}) {
        EXPECT_GE(daemon.log().count(line), 2) << line;
    }
    // Those whose session can't be opened are only ever opened and closed, and no value of theirs is told as missing.
    for (std::string const& frame : peer.log().frames()) {
        for (char const* request : {"01 08 ", "02 08 ", "15 01 ", "0E 01 ", "0E 09 "}) {
            EXPECT_NE(frame.substr(0, 6), request);
        }
    }
    for (char const* name : {"refused", "dead_mercury", "silent"}) {
        EXPECT_EQ(daemon.log().count(3, name, "ответ НЕ получен"), 0) << name;
    }
}

TEST(Electricity, AChannelThatWasSilentTooLongIsOpenedAnewAndASessionIsNot) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon(Daemon::Image::testable);
    SerialPeer peer(daemon.folder().file("line"));
    std::string const mercury_open = "03 01 01 07 03 08 02 00 05 E9 18";
    std::string const milur_open = "0D 08 00 5C A7 31 E2 0D 9B 81 72";
    peer.script()
        .on(mercury_open, "03 00 01 40")
        .on("03 02 80 81", "03 00 01 40")
        .on("03 08 11 11 4D FE", "03 00 67 00 2A 50")
        .on(milur_open, "0D 08 00 E7 C3")
        .on("0D 01 01 20 53", "0D 01 01 04 71 00 58 AB");
    constexpr int rto_ms = 300;
    Json::Value devices;
    devices.append(make_meter("mercury", "merc350", 3, rto_ms));
    devices.append(make_meter("milur", "milur", 13, rto_ms));
    daemon.start_with(make_config(broker, peer, devices, rto_ms));
    std::string const topic = sample::value_topic("mercury_3", "mercury");
    ASSERT_TRUE(probe.wait_for(topic, "103", limit)) << daemon.log().text();

    daemon.advance(200);
    ASSERT_TRUE(probe.wait_for_count(topic, 2, limit, probe.mark()));
    EXPECT_EQ(peer.log().count(mercury_open), 1) << "before its time";
    daemon.advance(240);
    ASSERT_TRUE(peer.log().wait_for(mercury_open, limit, 2)) << daemon.log().text();
    EXPECT_EQ(peer.log().count("03 02 80 81"), 1) << "closed first";
    ASSERT_TRUE(probe.wait_for_count(topic, 2, limit, probe.mark()));
    EXPECT_EQ(peer.log().count(mercury_open), 2) << "once";
    EXPECT_EQ(peer.log().count(milur_open), 1);
    EXPECT_EQ(probe.count("/devices/error"), 0);
}
