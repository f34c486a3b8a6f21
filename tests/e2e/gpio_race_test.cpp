// The GPIO worker beside its broker client, with commands and levels at once.

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/gpio_tree.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"

using std::chrono::seconds;

TEST(Race, GpioLinesUnderCommands) {
    constexpr int rounds = 50;
    constexpr auto limit = seconds(30);
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon(Daemon::Image::testable);
    GpioTree const tree(daemon.folder().path(), {1, 2, 3});
    Json::Value config = sample::root(broker.port());
    config["ports"].append(sample::json(R"({"connection": {"type": "xgpio", "enabled": true, "wto": 5},
        "devices": [{"name": "g", "cname": "lines", "type": "xgpio"}],
        "parameters": [{"cname": "lines", "config": {"channels": [{"name": "in", "gpio": 1},
            {"name": "out", "gpio": 2, "direction": "output"}, {"name": "w", "gpio": 3, "type": "water"}]}}]})"));
    daemon.start_with(config);
    ASSERT_TRUE(probe.wait_for(sample::value_topic("g", "out"), limit)) << daemon.log().text();
    for (int round = 0; round < rounds; ++round) {
        std::string const level = round % 2 == 0 ? "1" : "0";
        size_t const mark = probe.mark();
        tree.set_level(1, level[0]);
        tree.set_level(3, level[0]);
        probe.publish(sample::on_topic("g", "out"), level);
        ASSERT_TRUE(probe.wait_for(sample::value_topic("g", "out"), level, limit, mark)) << "round " << round;
        ASSERT_TRUE(probe.wait_for(sample::value_topic("g", "in"), level, limit, mark)) << "round " << round;
    }
    EXPECT_TRUE(probe.wait_for(sample::value_topic("g", "w_total"), limit));
    size_t const since = daemon.log().mark();
    broker.restart();
    EXPECT_TRUE(daemon.log().wait_for("[1] [g] подключение к MQTT.", limit, since));
    size_t const mark = probe.mark();
    tree.set_level(1, '1');
    EXPECT_TRUE(probe.wait_for(sample::value_topic("g", "in"), "1", limit, mark));
}
