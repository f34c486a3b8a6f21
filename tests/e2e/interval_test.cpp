// What takes minutes in service, with a clock that the test moves.

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/libmodbus_slave.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/wait_until.h"

using std::chrono::seconds;

namespace {

constexpr auto limit = seconds(20);
/// Long enough for a pass of the worker to have shown what it must not do.
constexpr auto two_passes = seconds(2);

class Interval : public testing::Test {
 protected:
    void start(std::string const& params) {
        Json::Value port = sample::rs_port("line", slave_.path());
        port["devices"].append(sample::rtu_device("plc", 7));
        port["devices"][0]["params"] = sample::json(params);
        Json::Value config = sample::root(broker_.port());
        config["ports"].append(port);
        daemon_.start_with(config);
    }

    Broker broker_;
    MqttProbe probe_{broker_.port()};
    Daemon daemon_{Daemon::Image::testable};
    LibmodbusSlave slave_{daemon_.folder().file("line"), 7};
};

}  // namespace

TEST_F(Interval, AParameterIsPolledWhenItsIntervalHasPassedAndAfterAClockSetBack) {
    start(R"([{"name": "slow", "reg_addr": 1, "value_type": "u16", "poll_interval": 240},
              {"name": "fast", "reg_addr": 2, "value_type": "u16", "poll_interval": 1}])");
    std::string const slow = "/devices/plc_7/controls/slow";
    std::string const fast = "/devices/plc_7/controls/fast";
    ASSERT_TRUE(probe_.wait_for(slow, limit)) << daemon_.log().text();

    daemon_.advance(200);
    ASSERT_TRUE(probe_.wait_for_count(fast, 2, limit, probe_.mark()));
    EXPECT_EQ(probe_.count(slow), 1) << "before its time";
    daemon_.advance(40);
    ASSERT_TRUE(probe_.wait_for_count(slow, 2, limit));
    ASSERT_TRUE(probe_.wait_for_count(fast, 2, limit, probe_.mark()));
    EXPECT_EQ(probe_.count(slow), 2) << "once an interval";

    daemon_.advance(-100000);
    ASSERT_TRUE(probe_.wait_for_count(slow, 3, limit)) << "a poll in the future counts as due";
}

TEST_F(Interval, AChatteringValueIsHeldBackUntilTheDebounceTimeHasPassed) {
    start(R"([{"name": "door", "reg_type": "coil", "reg_addr": 3, "value_type": "bit", "poll_interval": 1,
               "debounce": 60}])");
    std::string const door = "/devices/plc_7/controls/door";
    // The first reading is only remembered, the second one published.
    ASSERT_TRUE(probe_.wait_for(door, "0", limit)) << daemon_.log().text();
    slave_.set_coil(3, true);
    ASSERT_TRUE(daemon_.log().wait_for("[4] [door] debounce : начало контроля дребезга.", limit));
    size_t const mark = probe_.mark();
    EXPECT_TRUE(holds_for([&] { return probe_.count(door, mark) == 0; }, two_passes));
    daemon_.advance(60);
    ASSERT_TRUE(probe_.wait_for(door, limit, mark));
    EXPECT_EQ(probe_.last(door, mark), "1");
    EXPECT_EQ(probe_.count(door + "/meta/error"), 0);
}
