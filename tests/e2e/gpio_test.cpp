// Discrete inputs, outputs and pulse counters: the whole daemon with a configuration of nothing else.

#include <chrono>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/gpio_fuse.h"
#include "support/gpio_tree.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/temp_folder.h"

using std::chrono::seconds;

namespace {

constexpr auto limit = seconds(20);

/// A file with a GPIO port alone, its device "g" and these channels.
Json::Value gpio_only(int broker_port, int wto, std::string const& channels) {
    Json::Value config = sample::root(broker_port);
    Json::Value port = sample::json(R"({"connection": {"type": "xgpio", "enabled": true},
        "devices": [{"name": "g", "cname": "lines", "type": "xgpio"}],
        "parameters": [{"cname": "lines", "config": {"channels": [)" +
                                    channels + "]}}]}");
    port["connection"]["wto"] = wto;
    config["ports"].append(port);
    return config;
}

std::string topic(std::string const& channel) {
    return sample::value_topic("g", channel);
}

class Gpio : public testing::Test {
 protected:
    Broker broker;
    MqttProbe probe{broker.port()};
    Daemon daemon{Daemon::Image::testable};
};

class GpioInterrupts : public Gpio {
 protected:
    void SetUp() override {
        if (!tree.is_mounted()) {
            GTEST_SKIP() << "this machine doesn't let the test mount a FUSE file system";
        }
        std::filesystem::create_directory_symlink(folder.file("sys"), daemon.folder().file("sys"));
    }
    /// Its files are gone with the tree.
    void TearDown() override {
        if (tree.is_mounted()) {
            daemon.stop();
        }
    }

    TempFolder const folder;
    GpioFuse tree{folder.path(), {3, 4, 5}};
};

/// Waits until two whole turns of the worker are over, seen by a line of its own.
void settle(GpioTree const& tree, MqttProbe const& probe, int marker) {
    for (int time = 0; time < 2; ++time) {
        char const level = tree.level(marker) == '0' ? '1' : '0';
        size_t const mark = probe.mark();
        tree.set_level(marker, level);
        ASSERT_TRUE(probe.wait_for(topic("marker"), std::string(1, level), limit, mark));
    }
}

}  // namespace

TEST_F(Gpio, LinesThatArePolled) {
    GpioTree const tree(daemon.folder().path(), {1, 2, 3, 4, 5});
    tree.set_level(1, '1');
    probe.publish(topic("water_total"), "12.5", 2, true);
    Json::Value const config = gpio_only(broker.port(), 20, R"(
        {"name": "door", "gpio": 1}, {"name": "relay", "gpio": 2, "direction": "output", "inverted": true},
        {"name": "water", "gpio": 3, "type": "water", "scale": 0.01, "edge": "both"},
        {"name": "power", "gpio": 4, "type": "electro"}, {"name": "marker", "gpio": 5})");
    daemon.start_with(config);
    ASSERT_TRUE(daemon.wait_running());

    // The first levels, and an output that is switched on by 0.
    ASSERT_TRUE(probe.wait_for(topic("door"), "1", limit)) << daemon.log().text();
    EXPECT_EQ(probe.wait_for(topic("door"), limit)->qos, 0);
    ASSERT_TRUE(probe.wait_for(topic("relay"), "1", limit));
    tree.set_level(1, '0');
    EXPECT_TRUE(probe.wait_for(topic("door"), "0", limit));
    size_t mark = probe.mark();
    probe.publish(topic("relay") + "/on", "0");
    ASSERT_TRUE(probe.wait_for(topic("relay"), "0", limit, mark));
    EXPECT_EQ(tree.level(2), '1');
    ASSERT_TRUE(probe.wait_for_count(topic("relay"), 2, limit, mark)) << "the echo and the level when it is read";
    mark = probe.mark();
    probe.publish(topic("relay") + "/on", "on");
    EXPECT_TRUE(daemon.log().wait_for("[1] [g] on_message : неверное значение (не 0 и не 1).", limit));
    EXPECT_EQ(tree.level(2), '1');

    // One total goes on from what the broker held, the other from nothing: its own total never becomes its base.
    ASSERT_TRUE(daemon.log().wait_for("on_message : " + topic("water_total") + " = 12.5.", limit));
    for (char const level : {'1', '0', '1', '0'}) {
        tree.set_level(3, level);
        tree.set_level(4, level);
        settle(tree, probe, 5);
    }
    for (char const* total : {"12.510", "12.520"}) {
        EXPECT_TRUE(probe.wait_for(topic("water_total"), total, limit)) << probe.text();
    }
    EXPECT_EQ(probe.last(topic("power_total")), "2.00");
    EXPECT_EQ(probe.wait_for(topic("power_total"), limit)->qos, 2);
    EXPECT_EQ(daemon.log().count("on_message : " + topic("power_total")), 0);
    EXPECT_EQ(daemon.log().count("on_message : " + topic("water_total")), 1) << "once for the connection";
    for (char const* lasting : {"door", "relay", "water_total", "power_total"}) {
        EXPECT_TRUE(MqttProbe(broker.port(), topic(lasting)).wait_for(topic(lasting), limit)) << "not retained";
    }

    // After the broker has gone and come everything is subscribed again.
    broker.stop();
    ASSERT_TRUE(daemon.log().wait_for("[3] Worker::mqActivate : проблемы с подключением к MQTT.", limit));
    EXPECT_EQ(daemon.log().count("нет соединения с брокером"), 0) << "one line for each try";
    mark = daemon.log().mark();
    broker.start();
    ASSERT_TRUE(daemon.log().wait_for("[1] [g] подключение к MQTT.", limit, mark));
    mark = probe.mark();
    settle(tree, probe, 5);
    probe.publish(topic("relay") + "/on", "1");
    EXPECT_TRUE(probe.wait_for(topic("relay"), "1", limit, mark));
    EXPECT_EQ(tree.level(2), '0');

    // A restart takes the total up from the broker.
    daemon.stop();
    probe.publish(topic("water_total"), "20", 2, true);
    size_t const since = daemon.log().mark();
    daemon.start_with(config);
    ASSERT_TRUE(daemon.log().wait_for("on_message : " + topic("water_total") + " = 20.", limit, since));
    settle(tree, probe, 5);
    tree.set_level(3, '1');
    EXPECT_TRUE(probe.wait_for(topic("water_total"), "20.010", limit));
}

TEST_F(Gpio, ATotalThatIsNoNumberEndsTheProcess) {
    GpioTree const tree(daemon.folder().path(), {3});
    probe.publish(topic("water_total"), "many", 2, true);
    daemon.start_with(gpio_only(broker.port(), 100, R"({"name": "water", "gpio": 3, "type": "water"})"));
    EXPECT_EQ(daemon.wait_exit(limit), 1);
    EXPECT_TRUE(daemon.log().wait_for(
        "[3] [water] недопустимое значение счётчика : " + topic("water_total") + " = many. Завершение процесса.",
        limit))
        << daemon.log().raw();
    EXPECT_TRUE(MqttProbe(broker.port(), topic("water_total")).wait_for(topic("water_total"), "many", limit));
}

TEST_F(GpioInterrupts, TakeThePlaceOfPolling) {
    Json::Value const config = gpio_only(broker.port(), 500, R"({"name": "door", "gpio": 4, "edge": "both"},
        {"name": "water", "gpio": 3, "type": "water", "scale": 0.01, "edge": "both"})");
    daemon.start_with(config);

    ASSERT_TRUE(probe.wait_for(topic("door"), "0", limit)) << daemon.log().text();
    ASSERT_TRUE(tree.wait(3, limit, [](auto const& line) { return line.touches >= 2; }))
        << "polled as long as it raises no interrupt";
    std::string const unexport = daemon.folder().file("sys/class/gpio/unexport");
    EXPECT_EQ(daemon.log().count(3, "door", "io_base.write : не удалось записать в файл : " + unexport + " = 4."), 1);
    EXPECT_EQ(daemon.log().count(3, "door", "не удалось un-экспортировать канал : 4."), 1) << "it wasn't exported";
    EXPECT_EQ(daemon.log().count("epoll_ctl"), 0);
    EXPECT_EQ(tree.line(3).direction, "in");
    EXPECT_EQ(tree.line(3).edge, "both");
    // An edge that falls into the moment of a poll is taken by it.
    std::string const gone = daemon.folder().file("sys/class/gpio/gpio4/value") + " : таймер снят : ";
    for (int time = 0; time < 10 && daemon.log().count(gone) == 0; ++time) {
        size_t const mark = probe.mark();
        tree.set_level(4, time % 2 == 0 ? '1' : '0');
        ASSERT_TRUE(probe.wait_for(topic("door"), time % 2 == 0 ? "1" : "0", limit, mark));
    }
    EXPECT_EQ(daemon.log().count("[4] [g] " + gone), 1) << daemon.log().text();

    constexpr int pulses = 1000;
    int touches = 0;
    for (int pulse = 0; pulse < pulses; ++pulse) {
        for (char const level : {'1', '0'}) {
            tree.set_level(3, level);
            ASSERT_TRUE(tree.wait(3, limit, [](auto const& line) { return line.read; })) << "pulse " << pulse;
        }
        touches = pulse == pulses / 2 ? tree.line(3).touches : touches;
    }
    EXPECT_TRUE(probe.wait_for(topic("water_total"), "10.000", limit))
        << probe.last(topic("water_total")).value_or("-");
    EXPECT_EQ(probe.count(topic("water_total")), pulses);
    EXPECT_EQ(tree.line(3).touches, touches);
    EXPECT_EQ(daemon.log().count("таймер снят"), 2) << "once for each line";
}

TEST_F(GpioInterrupts, OutputsStayOnOverARestart) {
    Json::Value const config =
        gpio_only(broker.port(), 50, R"({"name": "pump", "gpio": 5, "direction": "output", "edge": "both"})");
    daemon.start_with(config);
    ASSERT_TRUE(probe.wait_for(topic("pump"), "0", limit)) << daemon.log().text();
    EXPECT_EQ(tree.line(5).direction, "out");
    EXPECT_EQ(tree.line(5).edge, "none");
    probe.publish(topic("pump") + "/on", "1");
    ASSERT_TRUE(probe.wait_for(topic("pump"), "1", limit));
    daemon.stop();
    size_t const mark = probe.mark();
    size_t const since = daemon.log().mark();
    daemon.start_with(config);
    ASSERT_TRUE(probe.wait_for(topic("pump"), limit, mark));
    EXPECT_EQ(probe.count(topic("pump"), "0", mark), 0) << probe.text(mark);
    EXPECT_EQ(daemon.log().count("не удалось un-экспортировать", since), 0) << "the earlier run's export is undone";
}
