// A Zigbee bridge that reports faster than anybody reads.

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"

using std::chrono::seconds;

TEST(Zigbee, ABurstIsServedInOrderWithoutALossAndLeavesNothingInMemory) {
    constexpr int reports = 10000;
    // Pages that come and go; what a report leaves behind, if only its message, would be more in 10,000 of them.
    constexpr long tolerance_kib = 2048;
    Broker broker;
    MqttProbe probe(broker.port());
    Json::Value config = sample::root(broker.port());
    config["log"]["is_debug"] = false;
    config["ports"].append(sample::json(R"({"name": "zb", "type": "base.z2t", "zigbee": {"address": "0x1"}, "devices": [
        {"name": "d", "type": "z2t", "cname": "counter", "sid": "0x11", "templ": "counter"}]})"));
    // What the sanitizer holds back of freed memory, to find late uses, would look like growth.
    char const* const given = std::getenv("ASAN_OPTIONS");
    std::string const options = given != nullptr ? given : "";
    setenv("ASAN_OPTIONS", (options + ":quarantine_size_mb=0:thread_local_quarantine_size_kb=0").c_str(), 1);
    Daemon daemon(Daemon::Image::testable);
    daemon.folder().write("templates/counter.json", R"({"name": "counter", "params": [
        {"name": "n", "z2t_name": "Count", "value_type": "float32", "min": 0}]})");
    daemon.start_with(config);
    given != nullptr ? setenv("ASAN_OPTIONS", options.c_str(), 1) : unsetenv("ASAN_OPTIONS");

    std::string const sensor = "tele/zb_0x1/SENSOR";
    std::string const value = sample::value_topic("counter_0x11", "n");
    auto const report = [](int count) { return R"({"ZbReceived":{"0x11":{"Count":)" + std::to_string(count) + "}}}"; };
    // Until the daemon's subscriptions stand.
    auto const is_served = [&] { return probe.publish(sensor, report(0)) && probe.wait_for(value, seconds(2)); };
    ASSERT_TRUE(wait_until(is_served, seconds(20))) << daemon.log().text();
    long resident_kib[2] = {};
    for (long& kib : resident_kib) {
        size_t const since = probe.mark();
        for (int number = 1; number <= reports; ++number) {
            ASSERT_TRUE(probe.publish(sensor, report(number), 0));
        }
        probe.wait_for(value, std::to_string(reports), seconds(30), since);
        std::vector<MqttMessage> values = probe.on_topic(value, since);
        std::erase_if(values, [](MqttMessage const& message) { return message.payload == "0"; });
        ASSERT_EQ(values.size(), static_cast<size_t>(reports));
        for (int number = 1; number <= reports; ++number) {
            ASSERT_EQ(values[static_cast<size_t>(number) - 1].payload, std::to_string(number));
        }
        kib = daemon.rss_kib();
    }
    EXPECT_LT(resident_kib[1], resident_kib[0] + tolerance_kib);
}
