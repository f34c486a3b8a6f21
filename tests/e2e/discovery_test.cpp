// What a building automation system finds of a gateway: the demo's field, served by the companion.

#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "foundation/jutils.h"
#include "support/broker.h"
#include "support/child_process.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;

constexpr char foreign[] = "homeassistant/sensor/other/a/config";
constexpr char stale[] = "homeassistant/switch/gw-7/gone-a/config";

/// What lies on the broker as far as the probe has seen it, topic to payload.
std::map<std::string, std::string> seen(MqttProbe const& probe) {
    std::map<std::string, std::string> messages;
    for (MqttMessage const& message : probe.messages()) {
        if (message.topic.starts_with("homeassistant/")) {
            messages[message.topic] = message.payload;
        }
    }
    std::erase_if(messages, [](auto const& message) { return message.second.empty(); });
    return messages;
}

bool lies_on(Broker const& broker, std::map<std::string, std::string> const& messages) {
    MqttProbe const fresh(broker.port(), "homeassistant/#");
    return wait_until([&] { return seen(fresh) == messages; }, seconds(5));
}

}  // namespace

TEST(Discovery, TellsWhatIsReallyPublishedAndTakenAndWithdrawsWhatIsGone) {
    fs::path const root = SOURCE_DIR;
    Broker broker;
    Daemon daemon(Daemon::Image::testable);
    fs::copy(root / "templates", daemon.folder().file("templates"));
    Json::Value config = xCommon::jUtils::Load((root / "examples/demo.json").string());
    config["mqtt"]["port"] = broker.port();
    config["mqtt"]["discovery"]["node"] = "gw-7";
    config["mqtt"]["status_topic"] = "gateways/7/";
    config["mqtt"]["availability"] = true;
    std::string const copy = daemon.folder().file("desk.json");
    ChildProcess simulation({{OSTRANDCTL_BINARY, "simulate", daemon.write_config(config, "plant.json"), "--output",
                              copy, "--templates", (root / "templates").string()},
                             {}});
    ASSERT_TRUE(wait_until([&] { return fs::exists(copy) && !fs::is_empty(copy); }, seconds(20)));
    MqttProbe probe(broker.port());
    ASSERT_TRUE(probe.publish(foreign, "{}", 1, true) && probe.publish(stale, "{}", 1, true));
    daemon.start({"-c", copy});
    ASSERT_TRUE(probe.wait_for(stale, "", seconds(60))) << daemon.log().text();

    std::map<std::string, std::string> const found = seen(probe);
    EXPECT_TRUE(lies_on(broker, found) && !found.contains(stale));
    std::set<std::string> ids;
    std::map<std::string, std::string> awaited;  // topic to payload; empty: any
    std::set<std::string> commands;
    for (auto const& [topic, payload] : found) {
        Json::Value json;
        std::string errors;
        ASSERT_TRUE(xCommon::jUtils::parse_file(payload, json, errors, true)) << topic << errors;
        if (topic == foreign) {
            continue;
        }
        EXPECT_TRUE(ids.insert(json["unique_id"].asString()).second) << payload;
        awaited.emplace(json.get("state_topic", "").asString(), "");
        commands.insert(json.get("command_topic", "").asString());
        EXPECT_EQ(json["availability"].size(), 2U) << payload;
        for (Json::Value const& source : json["availability"]) {
            awaited.emplace(source["topic"].asString(), source["payload_available"].asString());
        }
    }
    EXPECT_EQ(ids.size(), 50U);
    awaited.erase("");
    commands.erase("");
    EXPECT_EQ(commands.size(), 11U);
    EXPECT_TRUE(wait_until(
        [&] {
            std::erase_if(awaited, [&](auto const& item) {
                std::optional<std::string> const last = probe.last(item.first);
                return last && (item.second.empty() || *last == item.second);
            });
            return awaited.empty();
        },
        seconds(60)))
        << awaited.begin()->first;
    for (std::string const& topic : commands) {
        probe.publish(topic, "1");
        EXPECT_TRUE(daemon.log().wait_for("обработка сообщения : " + topic + " = 1", seconds(20))) << topic;
    }

    // The same with two ports and a parameter less.
    Json::Value smaller = xCommon::jUtils::Load(copy);
    smaller["ports"].resize(2);
    smaller["ports"][0]["devices"][0]["params"][0]["enabled"] = false;
    std::string const withdrawn = "homeassistant/sensor/gw-7/boiler_17-temperature/config";
    ASSERT_TRUE(found.contains(withdrawn));
    size_t const mark = probe.mark();
    daemon.write_config(smaller, "desk.json");
    ASSERT_TRUE(probe.wait_for(withdrawn, "", seconds(60), mark)) << daemon.log().text();
    EXPECT_TRUE(wait_until([&] { return seen(probe).size() == 16; }, seconds(20)));
    EXPECT_TRUE(lies_on(broker, seen(probe)));
    EXPECT_EQ(probe.last(foreign, mark), std::nullopt);

    EXPECT_EQ(probe.last("gateways/7/version"), "2.28");
    Json::Value about;
    ASSERT_TRUE(xCommon::jUtils::Parse(probe.last("gateways/7/config").value_or(""), about));
    EXPECT_TRUE(run_to_end({{"/usr/bin/sha256sum", copy}, {}}).output.starts_with(about["sha256"].asString() + " "));
    std::string const time = run_to_end({{"/usr/bin/date", "-u", "-r", copy, "+%Y-%m-%dT%H:%M:%SZ"}, {}}).output;
    EXPECT_EQ(about["time"].asString() + "\n", time);
    simulation.signal(SIGINT);
    simulation.wait_exit(seconds(5));
}
