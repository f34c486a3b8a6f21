// What comes from outside: messages of any size and content, and expressions of the configuration.

#include <chrono>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"

using std::chrono::seconds;

namespace {

constexpr auto limit = seconds(20);

/// A port on which a register always reads 5.
Json::Value null_port(std::string const& name, std::string const& keys = "") {
    return sample::json(R"({"name": ")" + name + R"(", "type": "base.null", "poll_interval": 0, "devices": [
        {"name": ")" + name +
                        R"(", "type": "mb-rtu", "sid": 17, "params": [{"name": "a", "reg_addr": 1,
         "value_type": "u16", "read_only": false)" +
                        keys + "}]}]}");
}

}  // namespace

TEST(ForeignText, AHugeMessageIsDroppedAndOneThatIsNotForgesNothing) {
    Broker broker;
    MqttProbe probe(broker.port());
    Json::Value config = sample::root(broker.port());
    config["ports"].append(null_port("p"));
    Daemon daemon;
    // Where a sanitizer keeps what is freed, memory would seem to stay.
    setenv("ASAN_OPTIONS", "quarantine_size_mb=1", 1);
    daemon.start_with(config);
    unsetenv("ASAN_OPTIONS");
    ASSERT_TRUE(probe.wait_for(sample::value_topic("p_17", "a"), limit)) << daemon.log().text();
    long const before = daemon.rss_kib();
    std::string const topic = sample::on_topic("p_17", "a");
    ASSERT_TRUE(probe.publish(topic, std::string(size_t{60} * 1024 * 1024, 'x'), 2, true));
    std::string const dropped = "сообщение отброшено : топик '" + topic + "' : размер ";
    ASSERT_TRUE(daemon.log().wait_for(dropped + "62914560 байт.", limit));
    EXPECT_EQ(daemon.log().count(dropped), 1);
    EXPECT_TRUE(wait_until([&] { return daemon.rss_kib() < 2 * before; }, limit)) << daemon.rss_kib();

    struct Row {
        std::string payload;
        std::string shown;
    };
    Row const rows[] = {
        {"1\n2026-01-01 00:00:00.000 [3] [p] forged", "1\\n2026-01-01 00:00:00.000 [3] [p] forged"},
        {"\r\t\x1B[2J\a\x7F", "\\r\\t\\x1B[2J\\x07\\x7F"},
        {"\xC2\x9B"
         "31m \xFF да \xD0",
         "\\xC2\\x9B31m \\xFF да \\xD0"},
        {std::string(4095, 'y') + "да", std::string(4095, 'y') + "... (всего 4099 байт)"},
    };
    for (Row const& row : rows) {
        ASSERT_TRUE(probe.publish(topic, row.payload));
        EXPECT_TRUE(daemon.log().wait_for("обработка сообщения : " + topic + " = " + row.shown + ".", limit))
            << row.shown;
    }
    EXPECT_EQ(daemon.log().text().find("\n2026-01-01"), std::string::npos);
    ASSERT_TRUE(probe.publish(topic, std::string(65536, 'x')));
    EXPECT_TRUE(daemon.log().wait_for("... (всего 65536 байт).", limit));
}

TEST(ForeignText, AnExpressionThatNeverEndsCostsItsValueAlone) {
    Broker broker;
    MqttProbe probe(broker.port());
    Json::Value config = sample::root(broker.port());
    char const* const expressions[] = {"while (true) { try { while (true) {} } catch (e) {} }",
                                       "for (var s = 'x'; true; ) s += s", "[].indexOf.call({length: 2000000000}, 1)"};
    char const* const reasons[] = {"превышено время 5 с", "превышена память 16 МиБ", "превышено время 5 с"};
    for (int index = 0; index < 3; ++index) {
        std::string const name = "bad" + std::to_string(index);
        config["ports"].append(null_port(name, R"(, "converter_read": ")" + std::string(expressions[index]) + "\""));
    }
    config["ports"].append(null_port("good", R"(, "converter_read": "value * 2")"));
    Daemon daemon;
    daemon.start_with(config);
    for (int index = 0; index < 3; ++index) {
        std::string const name = "bad" + std::to_string(index);
        EXPECT_TRUE(daemon.log().wait_for(
            "[3] [a] порт " + name + " : параметр a : выражение прервано : " + reasons[index] + ".", seconds(30)))
            << daemon.log().text();
        EXPECT_TRUE(probe.wait_for(sample::error_topic(name + "_17", "a"), "r", limit));
    }
    EXPECT_TRUE(probe.wait_for_count(sample::value_topic("good_17", "a"), 2, limit, probe.mark()));
    EXPECT_EQ(daemon.log().count("Перезапуск"), 0) << "and the process goes on";
}
