// An Emera meter on a serial line: each fault on a register of its own, dates of the local zone, and the good answers
// behind the faults.

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/serial_peer.h"

using std::chrono::seconds;

namespace {

constexpr int faults = 2;
constexpr auto limit = seconds(20);
constexpr long long march_4_2024_2230_utc = 1709591400;

struct Row {
    char const* name;
    char const* keys;
    char const* request;
    char const* good;
    char const* value;
    char const* bad = nullptr;  ///< what comes first; null: nothing is wrong with this register
    char const* told = nullptr;
};

Row const rows[] = {
    {"plain", R"j("cmd": "ET0PE()", "offset": 1, "unit": "kWh")j",
     "2F 3F 31 32 21 01 52 31 02 45 54 30 50 45 28 29 03 37", "02 45 54 30 50 45 28 31 29 28 32 2E 35 30 29 03 79",
     "2.50 kWh"},
    // It is the 5th of March here already.
    {"today", R"j("cmd": "ET0PE(%day%.%month%.%year%)")j",
     "2F 3F 31 32 21 01 52 31 02 45 54 30 50 45 28 30 35 2E 30 33 2E 32 34 29 03 41",
     "02 45 54 30 50 45 28 37 37 29 03 20", "77"},
    // 05.03.24 01:30:15, in UTC 1709602215, and the three hours of the zone off twice.
    {"clock", R"j("cmd": "CLOCK()", "value_type": "date_time")j",
     "2F 3F 31 32 21 01 52 31 02 43 4C 4F 43 4B 28 29 03 45",
     "02 43 4C 4F 43 4B 28 30 32 30 35 30 33 32 34 30 31 33 30 31 35 23 29 03 1D", "1709580615"},
    {"refused", R"j("cmd": "N()")j", "2F 3F 31 32 21 01 52 31 02 4E 28 29 03 27", "02 4E 28 31 31 29 03 04", "11", "15",
     "ответ НЕ получен : NAK."},
    {"error", R"j("cmd": "E()")j", "2F 3F 31 32 21 01 52 31 02 45 28 29 03 1E", "02 45 28 31 32 29 03 7C", "12",
     "02 28 45 31 32 29 03 7C", "ответ Не получен : ошибка = неподдерживаемый параметр."},
    {"bad_bcc", R"j("cmd": "B()")j", "2F 3F 31 32 21 01 52 31 02 42 28 29 03 1B", "02 42 28 31 33 29 03 7A", "13",
     "02 42 28 31 33 29 03 7B", "ответ НЕ получен : не совпала CRC."},
    {"silent", R"j("cmd": "S()")j", "2F 3F 31 32 21 01 52 31 02 53 28 29 03 2C", "02 53 28 31 34 29 03 0C", "14", "",
     "ответ НЕ получен : таймаут."},
    {"cut", R"j("cmd": "C()")j", "2F 3F 31 32 21 01 52 31 02 43 28 29 03 1C", "02 43 28 31 35 2E 37 35 29 03 17",
     "15.75", "02 43 28 31 35", "ответ НЕ получен : не совпала CRC."},
};

}  // namespace

TEST(Emera, EachFaultIsToldAndTheNextGoodAnswerIsRight) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon(Daemon::Image::testable);
    SerialPeer peer(daemon.folder().file("line"));
    Json::Value port = sample::rs_port("line", peer.path());
    port["poll_interval"] = 1;
    port["rto"] = 200;
    port["devices"].append(sample::json(R"({"name": "flat", "type": "emera", "sid": "12"})"));
    for (Row const& row : rows) {
        port["devices"][0]["params"].append(
            sample::json(R"({"name": ")" + std::string(row.name) + "\", " + row.keys + "}"));
        for (int time = 0; row.bad != nullptr && time < faults; ++time) {
            peer.script().once(row.request, row.bad);
        }
        peer.script().on(row.request, row.good);
    }
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.advance(march_4_2024_2230_utc - time(nullptr));
    setenv("TZ", "MSK-3", 1);
    daemon.start_with(config);
    unsetenv("TZ");

    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        auto const value = probe.wait_for(sample::value_topic("flat_12", row.name), limit);
        ASSERT_TRUE(value) << daemon.log().text();
        EXPECT_EQ(value->payload, row.value) << "the first value ever must be the good one";
        EXPECT_EQ(value->qos, 2);
        int const expected = row.bad != nullptr ? faults : 0;
        EXPECT_EQ(probe.count(sample::error_topic("flat_12", row.name), "r"), expected);
        if (row.told != nullptr) {
            EXPECT_EQ(daemon.log().count(3, row.name, row.told), expected);
        }
    }
    // Five of eight values in the first pass; the device has answered.
    auto const statistics = probe.wait_for("stat/line/poll", limit);
    ASSERT_TRUE(statistics);
    EXPECT_EQ(statistics->payload, "Статистика line : опросов = 8 : ошибок = 5 [ 62.00 ] : вне диапазона = 0.");
    EXPECT_EQ(probe.count("/devices/error"), 0);
}
