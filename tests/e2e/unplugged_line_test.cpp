// A serial adapter that is pulled out and put back under the same path.

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "ctl/line/serial_peer.h"
#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr auto limit = seconds(20);
constexpr char cannot_open[] = "[3] [line] ошибка открытия порта : ";
constexpr char not_opened[] = "[3] [line] не удалось открыть COM порт.";
char const* const topic = "/devices/dev_1/controls/level";
char const* const request = "01 03 00 10 00 01 85 CF";
char const* const reply = "01 03 02 00 65 78 6F";

class UnpluggedLine : public testing::Test {
 protected:
    void start() {
        Json::Value port = sample::rs_port("line", peer_.path());
        port["poll_interval"] = 1;
        port["rto"] = 300;
        port["devices"].append(sample::rtu_device("dev", 1));
        port["devices"][0]["params"] =
            sample::json(R"([{"name": "level", "reg_addr": 16, "value_type": "u16", "read_only": false}])");
        Json::Value config = sample::root(broker_.port());
        config["ports"].append(port);
        peer_.script().on(request, reply);
        daemon_.start_with(config);
        ASSERT_TRUE(probe_.wait_for(topic, "101", limit)) << daemon_.log().text();
    }

    /// Waits for `passes` of two lines each; true when nothing else of an error was told meanwhile, no descriptor was
    /// lost, and the pace was that of the passes.
    void expect_two_lines_a_pass(int passes, int descriptors) {
        size_t const mark = daemon_.log().mark();
        auto const start = std::chrono::steady_clock::now();
        long const cpu_start = daemon_.cpu_ms();
        ASSERT_TRUE(wait_until([&] { return daemon_.log().count(not_opened, mark) >= passes; }, limit))
            << daemon_.log().text(mark);
        auto const took = std::chrono::steady_clock::now() - start;
        EXPECT_GE(took, milliseconds(1000) * (passes - 1)) << "tried more than once a pass";
        EXPECT_LT(daemon_.cpu_ms() - cpu_start, 150 * passes) << "a busy loop";
        std::vector<LogEntry> errors = daemon_.log().matching("[3]", mark);
        for (size_t at = 0; at < errors.size(); ++at) {
            // The two lines, always in this order, and no others.
            EXPECT_TRUE(errors[at].whole.starts_with(errors[at].text.starts_with("не") ? not_opened : cannot_open));
            if (at > 0) {
                EXPECT_NE(errors[at].text, errors[at - 1].text) << daemon_.log().text(mark);
            }
        }
        EXPECT_EQ(daemon_.descriptor_count(), descriptors - 1);
        EXPECT_FALSE(daemon_.has_open(peer_.device()));
    }

    void expect_recovery(int descriptors) {
        size_t const mark = probe_.mark();
        size_t const log_mark = daemon_.log().mark();
        peer_.plug();
        ASSERT_TRUE(probe_.wait_for_count(topic, 1, limit, mark)) << daemon_.log().text(log_mark);
        size_t const well = daemon_.log().mark();
        ASSERT_TRUE(probe_.wait_for_count(topic, 2, limit, mark)) << daemon_.log().text(log_mark);
        EXPECT_EQ(daemon_.log().count("[3]", well), 0) << daemon_.log().text(well);
        EXPECT_EQ(daemon_.descriptor_count(), descriptors);
        EXPECT_TRUE(daemon_.has_open(peer_.device()));
    }

    Broker broker_;
    MqttProbe probe_{broker_.port()};
    Daemon daemon_;
    SerialPeer peer_{daemon_.folder().file("line")};
};

}  // namespace

TEST_F(UnpluggedLine, RecoversByItselfWithTwoLinesAPassAndNoLeak) {
    start();
    int const descriptors = daemon_.descriptor_count();
    int const threads = daemon_.threads();
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        peer_.unplug();
        // The first of the two lines may still belong to the pass in which it was pulled out.
        ASSERT_TRUE(daemon_.log().wait_for(not_opened, limit, daemon_.log().mark()));
        expect_two_lines_a_pass(2, descriptors);
        expect_recovery(descriptors);
    }
    EXPECT_EQ(daemon_.threads(), threads);
    EXPECT_EQ(probe_.count(topic), probe_.count(topic, "101"));
}

TEST_F(UnpluggedLine, PulledOutInAnExchangeCostsThatAnswerOnly) {
    start();
    int const descriptors = daemon_.descriptor_count();
    for (HangUp const moment : {HangUp::before_reply, HangUp::in_reply}) {
        SCOPED_TRACE(static_cast<int>(moment));
        peer_.script().once(request, Reply{.hex = reply, .hang_up = moment});
        size_t const mark = daemon_.log().mark();
        ASSERT_TRUE(daemon_.log().wait_for(not_opened, limit, mark)) << daemon_.log().text(mark);
        EXPECT_EQ(daemon_.descriptor_count(), descriptors - 1);
        EXPECT_EQ(daemon_.log().count(3, "level", "ответ НЕ получен", mark), 1);
        expect_recovery(descriptors);
    }
    EXPECT_EQ(probe_.count(topic), probe_.count(topic, "101"));
}

TEST_F(UnpluggedLine, AWriteThatCameMeanwhileRunsOnceWhenTheLineIsBack) {
    char const* const write = "01 06 00 10 01 F4 88 18";
    peer_.script().on(write, write);
    start();
    peer_.unplug();
    ASSERT_TRUE(daemon_.log().wait_for(not_opened, limit));
    ASSERT_TRUE(probe_.publish(std::string(topic) + "/on", "500"));
    size_t const mark = daemon_.log().mark();
    ASSERT_TRUE(wait_until([&] { return daemon_.log().count(not_opened, mark) >= 2; }, limit));
    EXPECT_EQ(daemon_.log().count("обработка сообщения"), 0);
    peer_.plug();
    EXPECT_TRUE(peer_.log().wait_for(write, limit));
    ASSERT_TRUE(probe_.wait_for_count(topic, 3, limit, probe_.mark()));
    EXPECT_EQ(peer_.log().count(write), 1);
}

TEST_F(UnpluggedLine, OtherPortsGoOn) {
    TempFolder folder;
    SerialPeer other(folder.file("other"));
    other.script().on("02 03 00 10 00 01 85 FC", "02 03 02 00 66 7C 6E");
    Json::Value config = sample::root(broker_.port());
    for (auto const& [name, path, sid] : {std::tuple{"line", peer_.path(), 1}, {"other", other.path(), 2}}) {
        Json::Value port = sample::rs_port(name, path);
        port["poll_interval"] = 1;
        port["devices"].append(sample::rtu_device("dev", sid));
        port["devices"][0]["params"] = sample::json(R"([{"name": "level", "reg_addr": 16, "value_type": "u16"}])");
        config["ports"].append(port);
    }
    peer_.script().on(request, reply);
    daemon_.start_with(config);
    ASSERT_TRUE(probe_.wait_for("/devices/dev_1/controls/level", limit));
    ASSERT_TRUE(probe_.wait_for("/devices/dev_2/controls/level", limit));
    peer_.unplug();
    ASSERT_TRUE(daemon_.log().wait_for(not_opened, limit));
    ASSERT_TRUE(probe_.wait_for_count("/devices/dev_2/controls/level", 3, limit, probe_.mark()));
    EXPECT_EQ(daemon_.log().count("[3] [other]"), 0);
}

TEST(AbsentLine, KeepsItsPortDownAndNoOther) {
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    SerialPeer peer(daemon.folder().file("line"));
    peer.script().on(request, reply);
    Json::Value config = sample::root(broker.port());
    for (auto const& [name, path] : {std::pair{"absent", daemon.folder().file("absent")}, {"line", peer.path()}}) {
        Json::Value port = sample::rs_port(name, path);
        port["poll_interval"] = 1;
        port["devices"].append(sample::rtu_device("dev", 1));
        port["devices"][0]["params"] = sample::json(R"([{"name": "level", "reg_addr": 16, "value_type": "u16"}])");
        config["ports"].append(port);
    }
    daemon.start_with(config);
    ASSERT_TRUE(probe.wait_for(topic, "101", limit)) << daemon.log().text();
    EXPECT_EQ(daemon.log().count("[3] --- start : absent : base.rs : ошибка при запуске порта"), 1);
    EXPECT_EQ(daemon.log().count("[3] --- start : line : base.rs : порт запущен"), 1);

    // It comes too late: only a restart takes it up.
    SerialPeer late(daemon.folder().file("absent"));
    late.script().on(request, reply);
    ASSERT_TRUE(probe.wait_for_count(topic, 3, limit, probe.mark()));
    EXPECT_TRUE(late.log().frames().empty());
    EXPECT_EQ(daemon.log().count("ошибка открытия порта"), 1);
}
