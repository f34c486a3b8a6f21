// Serial settings of a device's own, and lines that are opened for each poll.

#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/line/serial_peer.h"
#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/tcp_peer.h"

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr auto limit = seconds(20);
char const* const read_1 = "01 03 00 10 00 01 85 CF";
char const* const read_2 = "02 03 00 10 00 01 85 FC";
char const* const read_3 = "03 03 00 10 00 01 84 2D";
char const* const write_1 = "01 06 00 10 01 F4 88 18";

/// A device with one register that may be written.
Json::Value make_device(char const* name, int sid) {
    Json::Value device = sample::rtu_device(name, sid);
    device["params"] = sample::json(R"([{"name": "level", "reg_addr": 16, "value_type": "u16", "read_only": false}])");
    return device;
}

void answer_reads(PeerScript& script) {
    script.on(read_1, "01 03 02 00 65 78 6F").on(read_2, "02 03 02 00 66 7C 6E").on(read_3, "03 03 02 00 67 80 6E");
}

/// How the line was set at each of these requests.
std::vector<LineSettings> settings_at(SerialPeer& peer, std::string const& frame) {
    std::vector<LineSettings> result;
    for (PeerRequest const& request : peer.log().requests()) {
        if (request.hex == frame) {
            result.push_back(request.line);
        }
    }
    return result;
}

void expect_all(std::vector<LineSettings> const& seen, LineSettings const& wanted) {
    for (LineSettings const& line : seen) {
        EXPECT_EQ(line.baudrate, wanted.baudrate);
        EXPECT_EQ(line.stop_bits, wanted.stop_bits);
    }
}

}  // namespace

TEST(LineSettings, EachDeviceIsPolledAndWrittenWithItsOwn) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    SerialPeer peer(daemon.folder().file("line"));
    answer_reads(peer.script());
    peer.script().on(write_1, write_1);
    Json::Value port = sample::rs_port("line", peer.path());
    port["poll_interval"] = 1;
    port["devices"].append(make_device("plain", 1));
    port["devices"].append(make_device("own", 2));
    port["devices"][1]["rs"] = sample::json(R"({"baudrate": 19200, "stopbits": 2, "parity": "even"})");
    port["devices"].append(make_device("odd", 3));
    // A rate without a name of its own.
    port["devices"][2]["rs"] = sample::json(R"({"baudrate": 12345})");
    port["devices"][2]["rs"]["path"] = peer.path();
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);

    ASSERT_TRUE(probe.wait_for_count("/devices/odd_3/controls/level", 2, limit)) << daemon.log().text();
    int const descriptors = daemon.descriptor_count();
    ASSERT_TRUE(probe.publish("/devices/plain_1/controls/level/on", "500"));
    ASSERT_TRUE(peer.log().wait_for(write_1, limit));
    ASSERT_TRUE(probe.wait_for_count("/devices/odd_3/controls/level", 2, limit, probe.mark()));

    expect_all(settings_at(peer, read_1), {9600, 1});
    expect_all(settings_at(peer, write_1), {9600, 1});
    expect_all(settings_at(peer, read_2), {19200, 2});
    expect_all(settings_at(peer, read_3), {12345, 1});
    EXPECT_EQ(peer.log().count(write_1), 1);
    EXPECT_EQ(probe.count("/devices/own_2/controls/level/meta/error"), 0);
    EXPECT_EQ(daemon.descriptor_count(), descriptors) << "a line was left open at a change of settings";
}

TEST(LineSettings, OnesThatCannotBeOpenedLeaveTheOtherDevicesAlone) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    SerialPeer peer(daemon.folder().file("line"));
    answer_reads(peer.script());
    Json::Value port = sample::rs_port("line", peer.path());
    port["poll_interval"] = 1;
    port["devices"].append(make_device("lost", 2));
    port["devices"][0]["rs"]["path"] = daemon.folder().file("absent");
    port["devices"].append(make_device("invalid", 3));
    port["devices"][1]["rs"]["parity"] = "perhaps";
    port["devices"].append(make_device("plain", 1));
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);

    ASSERT_TRUE(probe.wait_for_count("/devices/plain_1/controls/level", 3, limit)) << daemon.log().text();
    for (char const* device : {"lost_2", "invalid_3"}) {
        SCOPED_TRACE(device);
        EXPECT_GE(daemon.log().count(std::string("[3] [") + device + "]"), 1);
        EXPECT_GE(probe.count(std::string("/devices/") + device + "/controls/level/meta/error", "r"), 1);
        EXPECT_EQ(probe.count("/devices/error", device), 1);
    }
    expect_all(settings_at(peer, read_1), {9600, 1});
    EXPECT_EQ(peer.log().count(read_2) + peer.log().count(read_3), 0) << "asked on a line that isn't theirs";
}

TEST(PollReconnect, ASerialLineIsOpenForThePollAndAWriteOnly) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    SerialPeer peer(daemon.folder().file("line"));
    peer.script()
        .on(read_1, Reply{.hex = "01 03 02 00 65 78 6F", .delay_ms = 200})
        .on(write_1, Reply{.hex = write_1, .delay_ms = 200});
    Json::Value port = sample::rs_port("line", peer.path());
    port["poll_reconnect"] = true;
    port["poll_interval"] = 2;
    port["rto"] = 2000;
    port["devices"].append(make_device("dev", 1));
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);

    ASSERT_TRUE(probe.wait_for("/devices/dev_1/controls/level", limit)) << daemon.log().text();
    auto const open = [&] { return daemon.has_open(peer.device()); };
    auto const closed = [&] { return !daemon.has_open(peer.device()); };
    for (int poll = 0; poll < 2; ++poll) {
        EXPECT_TRUE(wait_until(closed, limit)) << "left open behind the poll";
        EXPECT_TRUE(wait_until(open, limit));
    }
    ASSERT_TRUE(wait_until(closed, limit));
    size_t const mark = daemon.log().mark();
    ASSERT_TRUE(probe.publish("/devices/dev_1/controls/level/on", "500"));
    EXPECT_TRUE(daemon.log().wait_for("[1] [level] записано новое значение : 500.", limit, mark));
    EXPECT_TRUE(wait_until(closed, limit)) << "left open behind the write";
    EXPECT_EQ(peer.log().count(write_1), 1);
    EXPECT_EQ(daemon.log().count("ответ НЕ получен"), 0);
}

TEST(PollReconnect, ATcpPeerSeesOneConnectionAPass) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    TcpPeer peer;
    answer_reads(peer.script());
    Json::Value port = sample::tcp_port("line", peer.port());
    port["poll_reconnect"] = true;
    port["poll_interval"] = 1;
    port["devices"].append(make_device("dev", 1));
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);

    ASSERT_TRUE(probe.wait_for_count("/devices/dev_1/controls/level", 4, limit)) << daemon.log().text();
    ASSERT_TRUE(wait_until([&peer] { return !peer.connected(); }, limit)) << "left open behind the poll";
    // The connection of the port's start served the first poll.
    EXPECT_EQ(peer.connections(), peer.log().count(read_1));
    EXPECT_EQ(daemon.log().count("[3] [level]"), 0);
}

TEST(TcpLine, ADeadPeerKeepsThePortAliveAndItsReturnIsTakenUp) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    TcpPeer peer;
    peer.stop_listening();
    answer_reads(peer.script());
    Json::Value port = sample::tcp_port("line", peer.port());
    port["poll_interval"] = 1;
    port["devices"].append(make_device("dev", 1));
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);

    ASSERT_TRUE(probe.wait_for("/devices/error", "dev_1", limit)) << daemon.log().text();
    EXPECT_GE(daemon.log().count("[3] [line] не удалось открыть TCP соединение."), 1);
    EXPECT_EQ(daemon.log().count("[3] --- start : line : base.tcp : порт запущен"), 1);
    peer.listen();
    ASSERT_TRUE(probe.wait_for_count("/devices/dev_1/controls/level", 2, limit));
    int const descriptors = daemon.descriptor_count();
    EXPECT_EQ(peer.connections(), 1);

    // Closed between two polls, in an answer, and gone for a while.
    peer.drop();
    ASSERT_TRUE(probe.wait_for_count("/devices/dev_1/controls/level", 1, limit, probe.mark()));
    peer.script().once(read_1, Reply{.hex = "01 03 02 00 65 78 6F", .hang_up = HangUp::in_reply});
    ASSERT_TRUE(wait_until([&peer] { return peer.connections() >= 3; }, limit));
    ASSERT_TRUE(probe.wait_for_count("/devices/dev_1/controls/level", 1, limit, probe.mark()));
    EXPECT_EQ(daemon.descriptor_count(), descriptors);
    EXPECT_EQ(probe.count("/devices/dev_1/controls/level"), probe.count("/devices/dev_1/controls/level", "101"));
}

// A device that connects for itself closes the line with its own settings in force: the next pass opens it once, with
// these.
TEST(PollReconnect, PersonalSettingsStayInForce) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    SerialPeer peer(daemon.folder().file("line"));
    answer_reads(peer.script());
    Json::Value port = sample::rs_port("line", peer.path());
    port["poll_interval"] = 0;
    port["devices"].append(make_device("own", 2));
    port["devices"][0]["rs"] = sample::json(R"({"baudrate": 19200})");
    port["devices"][0]["poll_reconnect"] = true;
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    daemon.start_with(config);
    ASSERT_TRUE(probe.wait_for_count("/devices/own_2/controls/level", 3, limit)) << daemon.log().text();
    EXPECT_EQ(daemon.log().count("установим персональные настройки [own_2]."), 1);
    EXPECT_GE(daemon.log().count("персональные настройки [own_2] совпадают с текущими."), 2);
    expect_all(settings_at(peer, read_2), {19200, 1});
}

TEST(PollReconnect, ADeviceWithoutItOnAPortWithItConnectsOnlyWhenItIsDue) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    TcpPeer peer;
    answer_reads(peer.script());
    Json::Value port = sample::tcp_port("line", peer.port());
    port["poll_reconnect"] = true;
    port["poll_interval"] = 3600;
    port["devices"].append(make_device("closes", 1));
    port["devices"].append(make_device("stays", 2));
    port["devices"][1]["poll_reconnect"] = false;
    Json::Value config = sample::root(broker.port());
    config["ports"].append(port);
    config["ports"].append(sample::json(R"({"name": "clock", "type": "base.null", "poll_interval": 0, "devices": [
        {"name": "n", "type": "mb-rtu", "sid": 17, "params": [{"name": "a", "reg_addr": 1, "value_type": "u16"}]}]})"));
    daemon.start_with(config);
    ASSERT_TRUE(probe.wait_for("/devices/stays_2/controls/level", limit)) << daemon.log().text();
    peer.drop();
    int const connections = peer.connections();
    EXPECT_EQ(connections, 2);
    ASSERT_TRUE(probe.wait_for_count("/devices/n_17/controls/a", 3, limit, probe.mark()));
    EXPECT_EQ(peer.connections(), connections) << "connected although nothing was due";
    ASSERT_TRUE(probe.publish("/devices/stays_2/controls/level/on", "500"));
    EXPECT_TRUE(wait_until([&] { return peer.connections() == connections + 1; }, limit));
}
