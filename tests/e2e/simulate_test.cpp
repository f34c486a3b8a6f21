// A configuration tried whole on a desk: the companion serves the far ends, the daemon polls them.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/normalise.h"
#include "config/config.h"
#include "config/constants.h"
#include "config/process.h"
#include "ctl/line/wait_until.h"
#include "drivers/dcon/config.h"
#include "drivers/emera/config.h"
#include "drivers/modbus/config.h"
#include "drivers/z2t_tasmota/config.h"
#include "foundation/jutils.h"
#include "support/broker.h"
#include "support/child_process.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;

std::string device_name(CBase const& device) {
    if (auto const* const meter = dynamic_cast<emera::ecdev const*>(&device)) {
        return meter->name + "_" + meter->sid;
    }
    auto const* const zigbee = dynamic_cast<z2t_tasmota::config_device_t const*>(&device);
    return zigbee != nullptr ? zigbee->cname + "_" + zigbee->sid : device.name;
}

bholding::bhold const* bits_of(CBase const& param) {
    if (auto const* const named = dynamic_cast<modbus::c_register const*>(&param)) {
        return named->bits.get();
    }
    auto const* const state = dynamic_cast<dcon::c_param const*>(&param);
    return state != nullptr ? state->bits.get() : nullptr;
}

/// The topics on which the daemon publishes the configuration's parameters. A media controller takes commands alone,
/// and a SET-4TM meter isn't asked for values yet.
std::vector<std::string> topics_of(Config const& config) {
    std::vector<std::string> topics;
    for (auto const& port : config.ports.children) {
        for (auto const& device : port->children) {
            for (auto const& param : device->children) {
                if (device->type == "media_ctrl" || device->type == "set-4tm" || !param->enabled) {
                    continue;
                }
                std::string const head = "/devices/" + device_name(*device) + "/controls/";
                if (bholding::bhold const* const bits = bits_of(*param)) {
                    for (bholding::bitem const& bit : bits->items) {
                        topics.push_back(head + bit.control_name());
                    }
                } else {
                    topics.push_back(head + param->name);
                }
            }
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
    Json::Value plain = normalise(config).config;
    std::unique_ptr<Config> const tree(Config::Load(plain));
    std::vector<std::string> missing = topics_of(*tree);
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
    for (Json::Value const& port : xCommon::jUtils::Load(copy)["ports"]) {
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
