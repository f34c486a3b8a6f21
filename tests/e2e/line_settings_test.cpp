// How lines are set and opened, seen from their far ends.

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "ctl/line/serial_peer.h"
#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/tcp_peer.h"

using std::chrono::seconds;

namespace {

constexpr auto limit = seconds(20);
char const* const read_1 = "01 03 00 10 00 01 85 CF";
char const* const read_2 = "02 03 00 10 00 01 85 FC";
char const* const read_3 = "03 03 00 10 00 01 84 2D";
char const* const write_1 = "01 06 00 10 01 F4 88 18";

void answer(PeerScript& script) {
    script.on(read_1, "01 03 02 00 65 78 6F").on(read_2, "02 03 02 00 66 7C 6E").on(read_3, "03 03 02 00 67 80 6E");
    script.on(write_1, write_1);
}

class LineSettingsTest : public testing::Test {
 protected:
    /// A daemon with the port, to which these keys and devices of one writable register are added.
    void start(Json::Value port, std::string const& keys, std::vector<std::string> const& devices) {
        Json::Value const more = sample::json("{" + keys + "}");
        for (std::string const& key : more.getMemberNames()) {
            port[key] = more[key];
        }
        for (std::string const& device : devices) {
            Json::Value node = sample::json(R"({"type": "mb-rtu", "params": [
                {"name": "level", "reg_addr": 16, "value_type": "u16", "read_only": false}], )" +
                                            device + "}");
            port["devices"].append(node);
        }
        Json::Value config = sample::root(broker.port());
        config["ports"].append(port);
        config["ports"].append(clock);
        daemon.start_with(config);
    }

    /// The line was set so at each of these requests.
    static void expect_all(SerialPeer& peer, std::string const& frame, LineSettings const& wanted) {
        EXPECT_GT(peer.log().count(frame), 0);
        for (PeerRequest const& request : peer.log().requests()) {
            if (request.hex == frame) {
                EXPECT_EQ(request.line.baudrate, wanted.baudrate) << frame;
                EXPECT_EQ(request.line.stop_bits, wanted.stop_bits) << frame;
            }
        }
    }

    Broker broker;
    MqttProbe probe{broker.port()};
    Daemon daemon;
    /// A port whose passes can be counted.
    Json::Value const clock = sample::json(R"({"name": "clock", "type": "base.null", "poll_interval": 0, "devices": [
        {"name": "n", "type": "mb-rtu", "sid": 17, "params": [{"name": "a", "reg_addr": 1, "value_type": "u16"}]}]})");
};

}  // namespace

TEST_F(LineSettingsTest, EachDeviceIsPolledAndWrittenWithItsOwn) {
    SerialPeer peer(daemon.folder().file("line"));
    answer(peer.script());
    start(sample::rs_port("line", peer.path()), R"("poll_interval": 1)",
          {R"("name": "plain", "sid": 1)",
           R"("name": "own", "sid": 2, "rs": {"baudrate": 19200, "stopbits": 2, "parity": "even"})",
           // A rate without a name of its own.
           R"("name": "odd", "sid": 3, "rs": {"baudrate": 12345, "path": ")" + peer.path() + "\"}"});
    ASSERT_TRUE(probe.wait_for_count("/devices/odd_3/controls/level", 2, limit)) << daemon.log().text();
    int const descriptors = daemon.descriptor_count();
    ASSERT_TRUE(probe.publish("/devices/plain_1/controls/level/on", "500"));
    ASSERT_TRUE(peer.log().wait_for(write_1, limit));
    ASSERT_TRUE(probe.wait_for_count("/devices/odd_3/controls/level", 2, limit, probe.mark()));

    expect_all(peer, read_1, {9600, 1});
    expect_all(peer, write_1, {9600, 1});
    expect_all(peer, read_2, {19200, 2});
    expect_all(peer, read_3, {12345, 1});
    EXPECT_EQ(peer.log().count(write_1), 1);
    EXPECT_EQ(probe.count("/devices/own_2/controls/level/meta/error"), 0);
    EXPECT_EQ(daemon.descriptor_count(), descriptors) << "a line was left open at a change of settings";
}

TEST_F(LineSettingsTest, WithPollReconnectASerialLineIsOpenForThePollAndAWriteOnly) {
    SerialPeer peer(daemon.folder().file("line"));
    peer.script().on(read_1, Reply{.hex = "01 03 02 00 65 78 6F", .delay_ms = 200});
    peer.script().on(write_1, Reply{.hex = write_1, .delay_ms = 200});
    start(sample::rs_port("line", peer.path()), R"("poll_reconnect": true, "poll_interval": 2, "rto": 2000)",
          {R"("name": "dev", "sid": 1)"});
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

TEST_F(LineSettingsTest, WithPollReconnectATcpPeerSeesOneConnectionAPass) {
    TcpPeer peer;
    answer(peer.script());
    start(sample::tcp_port("line", peer.port()), R"("poll_reconnect": true, "poll_interval": 1)",
          {R"("name": "dev", "sid": 1)"});
    ASSERT_TRUE(probe.wait_for_count("/devices/dev_1/controls/level", 4, limit)) << daemon.log().text();
    ASSERT_TRUE(wait_until([&peer] { return !peer.connected(); }, limit)) << "left open behind the poll";
    // The connection of the port's start served the first poll.
    EXPECT_EQ(peer.connections(), peer.log().count(read_1));
    EXPECT_EQ(daemon.log().count("[3] [level]"), 0);
}

TEST_F(LineSettingsTest, ADeviceWithoutPollReconnectOnAPortWithItConnectsOnlyWhenItIsDue) {
    TcpPeer peer;
    answer(peer.script());
    start(sample::tcp_port("line", peer.port()), R"("poll_reconnect": true, "poll_interval": 3600)",
          {R"("name": "closes", "sid": 1)", R"("name": "stays", "sid": 2, "poll_reconnect": false)"});
    ASSERT_TRUE(probe.wait_for("/devices/stays_2/controls/level", limit)) << daemon.log().text();
    peer.drop();
    int const connections = peer.connections();
    EXPECT_EQ(connections, 2);
    ASSERT_TRUE(probe.wait_for_count("/devices/n_17/controls/a", 3, limit, probe.mark()));
    EXPECT_EQ(peer.connections(), connections) << "connected although nothing was due";
    ASSERT_TRUE(probe.publish("/devices/stays_2/controls/level/on", "500"));
    EXPECT_TRUE(wait_until([&] { return peer.connections() == connections + 1; }, limit));
}

TEST_F(LineSettingsTest, AnUnpluggedLineCostsTwoLinesAPassAndNoDescriptor) {
    char const* const topic = "/devices/dev_1/controls/level";
    char const* const not_opened = "[3] [line] не удалось открыть COM порт.";
    SerialPeer peer(daemon.folder().file("line"));
    answer(peer.script());
    start(sample::rs_port("line", peer.path()), R"("poll_interval": 1, "rto": 300)", {R"("name": "dev", "sid": 1)"});
    ASSERT_TRUE(probe.wait_for(topic, "101", limit)) << daemon.log().text();
    ASSERT_TRUE(daemon.wait_running());
    int const descriptors = daemon.descriptor_count();
    int const threads = daemon.threads();
    // Between two exchanges, and in one.
    for (HangUp const moment : {HangUp::never, HangUp::before_reply, HangUp::in_reply}) {
        SCOPED_TRACE(static_cast<int>(moment));
        size_t mark = daemon.log().mark();
        if (moment == HangUp::never) {
            peer.unplug();
        } else {
            peer.script().once(read_1, Reply{.hex = "01 03 02 00 65 78 6F", .hang_up = moment});
        }
        // The first of the two lines may still belong to the pass in which it was pulled out.
        ASSERT_TRUE(daemon.log().wait_for(not_opened, limit, mark)) << daemon.log().text(mark);
        EXPECT_TRUE(moment == HangUp::never || daemon.log().count(3, "level", "ответ НЕ получен", mark) == 1);
        mark = daemon.log().mark();
        long const cpu = daemon.cpu_ms();
        auto const start = std::chrono::steady_clock::now();
        ASSERT_TRUE(wait_until([&] { return daemon.log().count(not_opened, mark) >= 2; }, limit));
        EXPECT_GE(std::chrono::steady_clock::now() - start, seconds(1)) << "tried more than once a pass";
        EXPECT_LT(daemon.cpu_ms() - cpu, 600) << "a busy loop";
        // The two lines, always in this order, and no others.
        std::vector<LogEntry> const errors = daemon.log().matching("[3]", mark);
        for (size_t at = 0; at < errors.size(); ++at) {
            EXPECT_TRUE(errors[at].whole.starts_with(not_opened) ||
                        errors[at].whole.starts_with("[3] [line] ошибка открытия порта : "));
            EXPECT_TRUE(at == 0 || errors[at].text != errors[at - 1].text) << daemon.log().text(mark);
        }
        EXPECT_EQ(daemon.descriptor_count(), descriptors - 1);
        peer.plug();
        ASSERT_TRUE(probe.wait_for_count(topic, 1, limit, probe.mark()));
        mark = daemon.log().mark();
        ASSERT_TRUE(probe.wait_for_count(topic, 1, limit, probe.mark()));
        EXPECT_EQ(daemon.log().count("[3]", mark), 0) << daemon.log().text(mark);
        EXPECT_EQ(daemon.descriptor_count(), descriptors);
    }
    EXPECT_EQ(daemon.threads(), threads);
    EXPECT_EQ(probe.count(topic), probe.count(topic, "101"));
}

TEST_F(LineSettingsTest, ALineThatIsAbsentAtTheStartKeepsItsPortDown) {
    start(sample::rs_port("absent", daemon.folder().file("absent")), R"("poll_interval": 1)",
          {R"("name": "dev", "sid": 1)"});
    ASSERT_TRUE(probe.wait_for("/devices/n_17/controls/a", limit)) << daemon.log().text();
    EXPECT_EQ(daemon.log().count("[3] --- start : absent : base.rs : ошибка при запуске порта"), 1);
    EXPECT_EQ(daemon.log().count("[3] --- start : clock : base.null : порт запущен"), 1);
    // It comes too late: only a restart takes it up.
    SerialPeer late(daemon.folder().file("absent"));
    answer(late.script());
    ASSERT_TRUE(probe.wait_for_count("/devices/n_17/controls/a", 3, limit, probe.mark()));
    EXPECT_TRUE(late.log().frames().empty());
    EXPECT_EQ(daemon.log().count("ошибка открытия порта"), 1);
}
