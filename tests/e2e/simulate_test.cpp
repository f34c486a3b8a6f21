// A configuration tried whole on a desk: the companion serves the far ends, the daemon polls them.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/process.h"
#include "ctl/check/loading.h"
#include "ctl/line/wait_until.h"
#include "foundation/jutils.h"
#include "support/broker.h"
#include "support/child_process.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "topics/topic_list.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;

/// The topics on which the daemon publishes the configuration's parameters. A SET-4TM meter isn't asked for values
/// yet.
std::vector<std::string> topics_of(std::string const& file) {
    Loading const loading(file);
    std::vector<std::string> topics;
    LogListener const silence([](auto...) {});
    for (TopicRow const& row : list_topics(*loading.config, loading.gpio.get(), IdlePorts(*loading.config))) {
        if (row.is_read && (row.node == nullptr || row.node->parent->type != "set-4tm")) {
            topics.push_back(row.topic);
        }
    }
    return topics;
}

std::unique_ptr<ChildProcess> run_simulate(std::vector<std::string> const& arguments) {
    ChildProcess::Launch launch;
    launch.command = {OSTRANDCTL_BINARY, "simulate"};
    launch.command.insert(launch.command.end(), arguments.begin(), arguments.end());
    return std::make_unique<ChildProcess>(launch);
}

class SimulateExample : public testing::TestWithParam<char const*> {};

}  // namespace

TEST_P(SimulateExample, FeedsTheDaemonWithEveryParameter) {
    fs::path const root = SOURCE_DIR;
    Broker broker;
    Daemon daemon(Daemon::Image::testable);
    fs::copy(root / "templates", daemon.folder().file("templates"));
    Json::Value config = xCommon::jUtils::Load((root / "examples" / GetParam()).string());
    config["mqtt"]["url"] = "127.0.0.1";
    config["mqtt"]["port"] = broker.port();
    std::string const file = daemon.write_config(config, "plant.json");
    std::string const copy = daemon.folder().file("desk.json");
    std::unique_ptr<ChildProcess> const simulation =
        run_simulate({file, "--output", copy, "--templates", (root / "templates").string()});
    ASSERT_TRUE(wait_until([&] { return fs::exists(copy) && !fs::is_empty(copy); }, seconds(20)));

    templates_folder() = (root / "templates").string();
    std::vector<std::string> missing = topics_of(file);
    ASSERT_FALSE(missing.empty());
    MqttProbe probe(broker.port());
    daemon.start({"-c", copy});
    wait_until(
        [&] {
            std::erase_if(missing, [&probe](std::string const& topic) { return probe.last(topic).has_value(); });
            return missing.empty();
        },
        seconds(90));
    EXPECT_TRUE(missing.empty()) << missing.size() << " more, " << missing.front() << "\n" << daemon.log().text();
    simulation->signal(SIGINT);
    EXPECT_EQ(simulation->wait_exit(seconds(5)), 0);
    Json::Value const desk = xCommon::jUtils::Load(copy);
    for (Json::Value const& port : desk["ports"]) {
        EXPECT_FALSE(port.isMember("rs") && fs::exists(fs::symlink_status(port["rs"]["path"].asString())))
            << port.toStyledString();
    }
}

INSTANTIATE_TEST_SUITE_P(Simulate, SimulateExample,
                         testing::Values("demo.json", "first.json", "connection-shape.json", "pulsar.json",
                                         "serial-line.json", "template.json", "zigbee.json"),
                         [](auto const& row) {
                             std::string name = fs::path(row.param).stem().string();
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST(Simulate, KeepsWhatTheDaemonWrites) {
    Broker broker;
    Daemon daemon;
    Json::Value config = xCommon::jUtils::Load(std::string(SOURCE_DIR) + "/examples/first.json");
    config["mqtt"]["port"] = broker.port();
    config["ports"][0]["rs"]["path"] = daemon.folder().file("line/one");
    config["ports"][0]["poll_interval"] = 1;
    std::string const file = daemon.write_config(config, "plant.json");
    std::unique_ptr<ChildProcess> const simulation = run_simulate({file, "--faults", "0.1"});
    ASSERT_TRUE(wait_until([&] { return fs::exists(daemon.folder().file("line/one")); }, seconds(20)));
    MqttProbe probe(broker.port());
    daemon.start({"-c", file});
    std::string const topic = "/devices/boiler_17/controls/set_point";
    ASSERT_TRUE(probe.wait_for(topic, seconds(30))) << daemon.log().text();
    auto const is_taken = [&] {
        return probe.publish(topic + "/on", "25") && probe.wait_for(topic, "25.00", seconds(3));
    };
    EXPECT_TRUE(wait_until(is_taken, seconds(20))) << daemon.log().text();
    simulation->signal(SIGTERM);
    EXPECT_EQ(simulation->wait_exit(seconds(5)), 0);
    EXPECT_FALSE(fs::exists(daemon.folder().file("line")));
}

TEST(Simulate, EndsByItselfAndTellsWhatItCantServe) {
    TempFolder const folder;
    std::string const good = std::string(SOURCE_DIR) + "/examples/first.json";
    struct Row {
        std::string file;
        int status;
    };
    for (Row const& row : {Row{good, 0}, Row{folder.file("none"), 2}, Row{folder.path(), 2},
                           Row{folder.write("a", "{"), 1}, Row{folder.write("b", R"({"ports": []})"), 1},
                           Row{folder.write("c", R"({"ports": [{"connection": {"type": "base.tcp"}, "parameters": [],
                               "devices": [{"name": "a", "type": "mb-rtu"}]}]})"),
                               1}}) {
        std::unique_ptr<ChildProcess> const simulation = run_simulate({row.file, "--seconds", "1"});
        EXPECT_EQ(simulation->wait_exit(seconds(10)), row.status) << row.file;
    }
}
