#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ctl/line/wait_until.h"
#include "ctl/scenario/offset_clock.h"
#include "gpio/worker.h"
#include "support/broker.h"
#include "support/gpio_tree.h"
#include "support/log_capture.h"
#include "support/mqtt_probe.h"
#include "support/process_info.h"
#include "support/sample_config.h"

using std::chrono::seconds;

namespace {

class Worker : public xgpio::worker {
 public:
    using xgpio::worker::lines;
    using xgpio::worker::turn;
    using xgpio::worker::worker;
};

std::unique_ptr<xgpio::config_t> driver(std::string const& channels, int broker_port = 1883) {
    Json::Value block = sample::json(R"({"name": "g", "wto": 1, "channels": [)" + channels + "]}");
    block["mqtt"]["port"] = broker_port;
    return xgpio::config_t::Load(block);
}

std::string const root = std::getenv("OSTRAND_TEST_ROOT");

/// Bytes of events that wait in the inotify queue of this process.
int waiting_events() {
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        int count = 0;
        if (std::filesystem::read_symlink(entry.path(), error) == "anon_inode:inotify" &&
            ioctl(std::stoi(entry.path().filename()), FIONREAD, &count) == 0) {
            return count;
        }
    }
    return -1;
}

}  // namespace

TEST(GpioWorker, FindsTheLineOfATopic) {
    LogCapture log;
    GpioTree const tree(root, {1, 2});
    Worker worker(driver(R"({"name": "in", "gpio": 1}, {"name": "w", "gpio": 2, "type": "water"})"));
    ASSERT_TRUE(worker.Start());
    char const size_text[] = "[3] [g] ошибка в формате топика : size < 4 или size > 5.";
    char const words_text[] = "[3] [g] ошибка в формате топика : devices | controls | device_name.";
    std::tuple<char const*, char const*, bool, char const*> const rows[] = {
        {"/devices/g/controls/in", "in", false, ""},
        {"/devices/g/controls/in/on", "in", false, ""},
        {"/devices/g/controls/w_total", "w", true, ""},
        {"/devices/g/controls/w_total/on", "w", true, ""},
        {"/devices/g/controls/w_total_2", "w", true, ""},
        {"/devices/g/controls/x", "-", false, ""},
        {"/devices/g/controls", "-", false, size_text},
        {"/devices/g/controls/in/on/on", "-", false, size_text},
        {"/devices/h/controls/in", "-", false, words_text},
        {"/device/g/controls/in", "-", false, words_text},
        {"/devices/g/control/in", "-", false, words_text},
        {"/devices/g/controls/w_total/off", "-", true, "[3] [g] ошибка в формате топика : _total | on."},
    };
    for (auto const& [asked, name, wanted_total, told] : rows) {
        log.clear();
        bool is_total = !wanted_total;
        xgpio::io_base const* line = worker.getby_topic(asked, is_total);
        EXPECT_EQ(line != nullptr ? line->name : "-", name) << asked;
        EXPECT_EQ(is_total, wanted_total) << asked;
        EXPECT_EQ(log.count("[3]"), *told != '\0' ? 1 : 0) << asked;
        EXPECT_TRUE(log.has(told) || *told == '\0') << asked;
    }
    std::string topic = "/devices/g/controls/x";
    std::string payload = "1";
    worker.mq_on_message(topic, payload);
    EXPECT_TRUE(log.has("[1] [g] on_message : /devices/g/controls/x = 1."));
    EXPECT_TRUE(log.has("[1] [g] on_message : канал не найден."));
    topic = "/devices/g/controls/in";
    payload = "on";
    worker.mq_on_message(topic, payload);
    EXPECT_TRUE(log.has("[1] [g] on_message : неверное значение (не 0 и не 1)."));
}

TEST(GpioWorker, APulseAheadOfTheTotalsLosesNone) {
    LogCapture log(false);
    Broker broker;
    MqttProbe probe(broker.port());
    GpioTree const tree(root, {1, 2, 3});
    Worker worker(driver(R"({"name": "a", "gpio": 1, "type": "water"}, {"name": "b", "gpio": 2, "type": "water"},
                            {"name": "new", "gpio": 3, "type": "water"})",
                         broker.port()));
    for (char const* name : {"a", "b"}) {
        probe.publish(sample::value_topic("g", std::string(name) + "_total"), "100", 2, true);
    }
    ASSERT_TRUE(worker.Start());
    ASSERT_TRUE(worker.mq_start());
    for (char const level : {'0', '1', '0'}) {
        for (int const number : {1, 2, 3}) {
            tree.set_level(number, level);
        }
        worker.turn();
    }
    // One message is handled in each turn, and the broker needs its time.
    EXPECT_TRUE(wait_until(
        [&] {
            worker.turn();
            return log.count("_total = 100.") == 2;
        },
        seconds(10)));
    for (char const* name : {"a", "b"}) {
        std::string const topic = sample::value_topic("g", std::string(name) + "_total");
        EXPECT_TRUE(probe.wait_for(topic, "101.00", seconds(5))) << probe.text();
        EXPECT_EQ(probe.last(topic), "101.00");
    }
    EXPECT_EQ(probe.last("/devices/g/controls/new_total"), "1.00");
}

TEST(GpioWorker, WhatCannotBeServedIsLeftOut) {
    LogCapture log;
    {
        GpioTree const tree(root, {1});
        Worker worker(driver(R"({"name": "gone", "gpio": 9}, {"name": "in", "gpio": 1})"));
        EXPECT_TRUE(worker.Start());
        ASSERT_EQ(worker.lines.size(), 1U);
        EXPECT_EQ(log.count("[3] [g] gone : исключение при создании канала : gone : io_base : ошибка инициализации "
                            "канала.."),
                  1);
        // Plain files raise no interrupts: the line is told of and polled.
        EXPECT_EQ(log.count("[3] [in] epoll_ctl : ошибка при добавлении канала в очередь событий : "), 1);
        EXPECT_EQ(log.count("[1] [g] inotify : " + tree.file("gpio1/value") + " : 1"), 1);

        class Raising : public xgpio::io_base {
         public:
            using io_base::io_base;
            std::vector<xgpio::mqtt_message> irr_hand(bool /*from_event*/) override { throw std::runtime_error("why"); }
        };
        worker.lines.push_back(std::make_unique<Raising>(&worker, worker.lines.at(0)->channel));
        worker.debounce();
        EXPECT_EQ(log.count("[3] [in] исключение при обработке дребезга : why."), 1);
    }
    Worker worker(driver(R"({"name": "gone", "gpio": 9})"));
    EXPECT_FALSE(worker.Run());
    EXPECT_EQ(log.count("[3] [g] список каналов пуст. Работа невозможна."), 1);
    EXPECT_FALSE(Worker(driver(R"({"name": "in", "gpio": 1})", 1)).mq_start());
    EXPECT_EQ(log.count("[3] Worker::mqActivate : проблемы с подключением к MQTT."), 1);
}

TEST(GpioWorker, RunsUntilItIsStopped) {
    LogCapture const log;
    Broker const broker;
    MqttProbe probe(broker.port());
    GpioTree const tree(root, {1, 2});
    Worker worker(
        driver(R"({"name": "in", "gpio": 1}, {"name": "out", "gpio": 2, "direction": "output"})", broker.port()));
    offset_clock::skip_delays(true);
    EXPECT_TRUE(worker.Run());
    EXPECT_TRUE(probe.wait_for("/devices/g/controls/in", "0", seconds(5))) << probe.text();
    EXPECT_TRUE(wait_until([&] { return log.has("[1] [g] подключение к MQTT."); }, seconds(5)));
    // Once it is subscribed.
    EXPECT_TRUE(wait_until([&] { return probe.publish(sample::on_topic("g", "out"), "1") && tree.level(2) == '1'; },
                           seconds(5)));
    worker.Stop();
    offset_clock::skip_delays(false);
}

TEST(GpioWorker, TurnsLeaveNothingBehind) {
    LogCapture log(false);
    Broker broker;
    MqttProbe probe(broker.port());
    GpioTree const tree(root, {1, 2, 3, 4});
    Worker worker(driver(R"({"name": "in", "gpio": 1}, {"name": "out", "gpio": 2, "direction": "output"},
 {"name": "c", "gpio": 3, "type": "water"}, {"name": "d", "gpio": 4})",
                         broker.port()));
    ASSERT_TRUE(worker.Start());
    ASSERT_TRUE(worker.mq_start());
    worker.turn();
    size_t const descriptors = process_info::descriptors(getpid()).size();
    constexpr int turns = 300;
    for (int turn = 0; turn < turns; ++turn) {
        tree.set_level(1, turn % 2 == 0 ? '1' : '0');
        worker.turn();
    }
    EXPECT_EQ(process_info::descriptors(getpid()).size(), descriptors);
    EXPECT_LT(waiting_events(), 4 * 272) << "the worker's own reads fill the queue";
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), 0) << "only the broker is a child, and it runs";
    EXPECT_TRUE(probe.wait_for_count("/devices/g/controls/in", turns + 1, seconds(10)));
    EXPECT_EQ(probe.count("/devices/g/controls/out"), 1);
}
