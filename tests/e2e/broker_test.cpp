// What a daemon does while its broker comes, goes and stands still.

#include "support/broker.h"

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "support/daemon.h"
#include "support/libmodbus_slave.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"

using std::chrono::seconds;

namespace {

/// One writable register on a real slave, polled at every pass.
struct Rig {
    explicit Rig(Broker::At when = Broker::At::once) : broker(when), slave(daemon.folder().file("line"), 7) {
        config = sample::root(broker.port());
        Json::Value port = sample::rs_port("p", slave.path());
        Json::Value device = sample::rtu_device("plc", 7);
        device["poll_interval"] = 0;
        device["params"] = sample::json(R"([{"name": "set", "reg_addr": 1, "value_type": "u16", "read_only": false}])");
        port["devices"].append(device);
        config["ports"].append(port);
    }

    int writes() {
        int count = 0;
        for (std::string const& request : slave.requests()) {
            count += request.rfind("07 06", 0) == 0 ? 1 : 0;
        }
        return count;
    }

    Broker broker;
    Daemon daemon;
    LibmodbusSlave slave;
    Json::Value config;
    std::string const value = sample::value_topic("plc_7", "set");
    std::string const on = sample::on_topic("plc_7", "set");
};

}  // namespace

TEST(BrokerAway, PollingStopsAndResumesAndEachWriteIsExecutedOnce) {
    Rig rig;
    rig.slave.set_holding(1, {5});
    rig.daemon.start_with(rig.config);
    {
        MqttProbe probe(rig.broker.port());
        ASSERT_TRUE(probe.wait_for(rig.value, "5", seconds(15))) << rig.daemon.log().text();
        ASSERT_TRUE(probe.publish(rig.on, "6"));
        ASSERT_TRUE(probe.wait_for(rig.value, "6", seconds(5))) << rig.daemon.log().text();
    }

    size_t const before_stop = rig.daemon.log().mark();
    rig.broker.stop();
    ASSERT_TRUE(rig.daemon.log().wait_for("соединение с брокером", seconds(5), before_stop));
    // The pass that runs ends, and no other begins.
    EXPECT_TRUE(wait_until(
        [&rig] {
            size_t const asked = rig.slave.requests().size();
            return holds_for([&rig, asked] { return rig.slave.requests().size() == asked; }, seconds(2));
        },
        seconds(8)));

    size_t const before_start = rig.daemon.log().mark();
    rig.broker.start();
    MqttProbe probe(rig.broker.port());
    // A retained command is replayed at each subscription, and executed once for each.
    ASSERT_TRUE(probe.publish(rig.on, "9", 2, true));
    ASSERT_TRUE(rig.daemon.log().wait_for("[p] MQTT соединение установлено.", seconds(15), before_start));
    ASSERT_TRUE(probe.wait_for(rig.value, "9", seconds(5))) << rig.daemon.log().text(before_start);
    ASSERT_TRUE(probe.publish(rig.on, "10"));
    ASSERT_TRUE(probe.wait_for(rig.value, "10", seconds(5))) << rig.daemon.log().text(before_start);
    EXPECT_TRUE(holds_for([&rig] { return rig.writes() == 3; }, seconds(2))) << rig.daemon.log().text();
    // One line for each change of state, however many attempts lay between.
    EXPECT_EQ(rig.daemon.log().count("[3] MQTT :", before_stop), 1);
}

TEST(BrokerAway, AbsentAtTheStartIsWaitedFor) {
    Rig rig(Broker::At::later);
    rig.daemon.start_with(rig.config);
    ASSERT_TRUE(rig.daemon.wait_running());
    ASSERT_TRUE(rig.daemon.log().wait_for("Попытки продолжаются.", seconds(5)));
    EXPECT_TRUE(rig.slave.requests().empty());
    long const cpu_before = rig.daemon.cpu_ms();
    EXPECT_TRUE(holds_for([&rig] { return rig.slave.requests().empty(); }, seconds(2)));
    EXPECT_LT(rig.daemon.cpu_ms() - cpu_before, 200);

    rig.broker.start();
    MqttProbe probe(rig.broker.port());
    EXPECT_TRUE(probe.wait_for(rig.value, "0", seconds(15))) << rig.daemon.log().text();
    EXPECT_EQ(rig.daemon.log().count("Попытки продолжаются."), 1);
}

TEST(BrokerAway, ABrokerThatStandsStillCostsNothingAndGoesOn) {
    Rig rig;
    rig.daemon.start_with(rig.config);
    MqttProbe probe(rig.broker.port());
    ASSERT_TRUE(probe.wait_for(rig.value, "0", seconds(15))) << rig.daemon.log().text();

    rig.broker.stall();
    size_t const asked = rig.slave.requests().size();
    // The connection stands: polling goes on, and what is published waits.
    EXPECT_TRUE(wait_until([&] { return rig.slave.requests().size() > asked + 4; }, seconds(10)));
    rig.slave.set_holding(1, {77});
    size_t const stalled_at = probe.mark();
    EXPECT_TRUE(holds_for([&] { return probe.mark() == stalled_at; }, seconds(1)));
    rig.broker.resume();
    EXPECT_TRUE(probe.wait_for(rig.value, "77", seconds(10), stalled_at)) << rig.daemon.log().text();
}
