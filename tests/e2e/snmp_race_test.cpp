// SNMP ports side by side, with sessions that are opened anew at the same time; built for ThreadSanitizer, which ends
// the daemon at a race and so fails the test. Of the SNMP library itself it sees the calls into the C library alone.

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/silent_socket.h"
#include "support/snmp_agent.h"

using std::chrono::seconds;

TEST(Race, FourSnmpPorts) {
    SnmpAgent agent(SnmpAgent::Objects{{"integer", "5"}, {"octet_str", "0x001a"}});
    SilentSocket const silent;
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    Json::Value config = sample::root(broker.port());
    for (std::string const name : {"a", "b", "c", "dead"}) {
        Json::Value port = sample::json(R"({"type": "snmp", "poll_interval": 0, "rto": 50, "devices": [
            {"params": [{"name": "n", "oid": ")" +
                                        SnmpAgent::oid(0) + R"("}, {"name": "s", "oid": ")" + SnmpAgent::oid(1) +
                                        R"("}, {"name": "none", "oid": ".1.3.6.1.4.1.99999.9"},
                         {"name": "bad", "oid": "x"}]}]})");
        port["name"] = name;
        port["devices"][0]["name"] = name;
        port["devices"][0]["url"] = name == "dead" ? silent.peer() : (name == "c" ? "" : "tcp:") + agent.peer();
        config["ports"].append(port);
    }
    daemon.start_with(config);
    ASSERT_TRUE(daemon.wait_running());
    for (int round = 0; round < 3; ++round) {
        size_t const mark = probe.mark();
        for (char const* name : {"a", "b", "c"}) {
            ASSERT_TRUE(probe.wait_for_count(sample::value_topic(name, "s"), 2, seconds(30), mark))
                << daemon.log().text();
        }
        agent.stop();
        agent.start();
    }
    ASSERT_TRUE(probe.wait_for_count(sample::error_topic("dead", "s"), 2, seconds(30))) << daemon.log().text();
    EXPECT_EQ(daemon.stop(), 1);
}
