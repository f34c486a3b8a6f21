// DCON modules on a serial line: each command with a fault ahead of its good answer, bits, writes, a parameter that is
// none of the driver's, and a module whose own line isn't there.

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/serial_peer.h"

using std::chrono::seconds;

namespace {

constexpr auto limit = seconds(20);

struct Row {
    char const* name;
    char const* keys;
    char const* request;
    char const* bad;  ///< what comes first
    char const* told;
    char const* good;
    char const* control;
    char const* value;
};

Row const rows[] = {
    // A lower-case checksum.
    {"level", R"("cmd": 9, "channel": "a", "unit": "V")", "23 30 31 41 43 35 0D", "3E 30 31 2B 31 2E 32 33 38 65 0D",
     "не совпали CRC : 8e != 8E.", "3E 30 31 2B 31 2E 32 33 38 45 0D", "level", "+1.23 V"},
    {"setup", R"("cmd": 10)", "24 30 31 32 42 37 0D", "3F 30 31 41 30 0D", "неверная команда.",
     "21 30 31 34 30 30 36 38 30 42 34 0D", "setup", "400680"},
    // Cut.
    {"outputs", R"("cmd": 13, "bh_list": [{"name": "pump", "offset": 7}])", "24 30 31 36 42 42 0D", "21 30 30 38",
     "ответ НЕ получен : timeout.", "21 30 30 38 31 30 30 34 41 0D", "outputs_pump", "1"},
    {"inputs", R"("cmd": 21, "bh_list": [{"name": "door", "offset": 2, "inverted": true}])", "40 30 31 41 31 0D",
     "3E 30 30 30 35 30 30 0D", "не совпали CRC : 00 != 03.", "3E 30 30 30 35 30 33 0D", "inputs_door", "0"},
};

constexpr char clear_counter[] = "24 30 31 43 33 46 42 0D";
constexpr char set_address[] = "25 30 31 30 32 34 30 30 36 38 30 31 41 0D";

}  // namespace

TEST(Dcon, EachCommandAndEachFault) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    SerialPeer peer(daemon.folder().file("line"));
    Json::Value port = sample::rs_port("line", peer.path());
    port["poll_interval"] = 1;
    port["rto"] = 400;
    port["devices"] = sample::json(R"([
        {"name": "io", "type": "dcon", "sid": 1, "params": [
            {"name": "clear", "type": "dcon", "cmd": 15}, {"name": "address", "type": "dcon", "cmd": 1},
            {"name": "foreign", "reg_addr": 1}, {"name": "lost"}]},
        {"name": "away", "type": "dcon", "sid": 1, "rs": {"path": "/nonexistent/line", "baudrate": 9600},
         "params": [{"name": "level", "type": "dcon", "cmd": 9, "channel": "A"}]}])");
    for (Row const& row : rows) {
        port["devices"][0]["params"].append(
            sample::json(R"({"type": "dcon", "name": ")" + std::string(row.name) + "\", " + row.keys + "}"));
        peer.script().once(row.request, row.bad).on(row.request, row.good);
    }
    peer.script().once(clear_counter, "21 30 31 38 32 0D").on(clear_counter, "3F 30 31 41 30 0D");
    peer.script().on(set_address, "21 30 32 38 33 0D");
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);

    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        auto const value = probe.wait_for(sample::value_topic("io_1", row.control), limit);
        ASSERT_TRUE(value) << daemon.log().text();
        EXPECT_EQ(value->payload, row.value) << "the first value ever must be the good one";
        EXPECT_EQ(value->qos, 2);
        EXPECT_EQ(probe.count(sample::error_topic("io_1", row.name), "r"), 1);
        EXPECT_EQ(daemon.log().count(3, row.name, row.told), 1);
    }
    EXPECT_EQ(daemon.log().count("lost : не указан атрибут 'reg_addr'."), 1);
    EXPECT_GE(daemon.log().count(3, "foreign", "параметр не является параметром DCON : опрос пропущен."), 1);
    EXPECT_EQ(probe.count(sample::value_topic("io_1", "outputs")), 0);

    // Its request would have been answered on the port's line.
    EXPECT_TRUE(probe.wait_for(sample::error_topic("away_1", "level"), "r", limit));
    EXPECT_EQ(probe.count(sample::value_topic("away_1", "level")), 0);

    struct Write {
        char const* control;
        char const* value;
        char const* told;
    };
    for (Write const& row : {Write{"clear", "3", "[1] [clear] операция успешно выполнена."},
                             {"clear", "3", "[3] [clear] неверная команда."},
                             {"clear", "33", "[3] [clear] команда очистки счетчика должна содержать 1 символ."},
                             {"address", "02400680", "[1] [address] операция успешно выполнена."}}) {
        size_t const mark = daemon.log().mark();
        probe.publish(sample::on_topic("io_1", row.control), row.value);
        EXPECT_TRUE(daemon.log().wait_for(row.told, limit, mark)) << row.told << daemon.log().text(mark);
    }
    EXPECT_EQ(peer.log().count(clear_counter), 2);
    EXPECT_EQ(peer.log().count(set_address), 1);
    EXPECT_EQ(probe.count("/devices/error", "io_1"), 1) << "of the first pass alone";
}
