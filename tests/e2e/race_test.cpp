// Many threads at once; built for ThreadSanitizer, which ends the daemon at a race and so fails the test.

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/libmodbus_slave.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"

using std::chrono::seconds;

TEST(Race, TwoPortsThroughBrokerRestartsAndWrites) {
    Broker broker;
    Daemon daemon;
    LibmodbusSlave first(daemon.folder().file("first"), 1);
    LibmodbusSlave second(daemon.folder().file("second"), 2);
    Json::Value config = sample::root(broker.port());
    config["mqtt"]["status_topic"] = "race";
    config["mqtt"]["availability"] = config["mqtt"]["age"] = true;
    int number = 0;
    for (LibmodbusSlave* slave : {&first, &second}) {
        ++number;
        Json::Value port = sample::rs_port("port" + std::to_string(number), slave->path());
        port["poll_interval"] = 0;
        Json::Value device = sample::rtu_device("d", number);
        device["params"] = sample::json(R"([
            {"name": "a", "reg_addr": 1, "value_type": "u16", "scale": 0.1, "read_only": false},
            {"name": "b", "reg_addr": 2, "value_type": "u16", "reg_type": "holding-bit", "read_only": false,
             "bh_list": [{"name": "0", "offset": 0}]}])");
        port["devices"].append(device);
        config["ports"].append(port);
    }
    daemon.start_with(config);
    for (int round = 1; round <= 3; ++round) {
        MqttProbe probe(broker.port());
        for (std::string const device : {"d_1", "d_2"}) {
            ASSERT_TRUE(probe.wait_for(sample::value_topic(device, "a"), seconds(30))) << daemon.log().text();
            ASSERT_TRUE(probe.publish(sample::on_topic(device, "a"), std::to_string(round)));
            ASSERT_TRUE(probe.publish(sample::on_topic(device, "b_0"), "1"));
            ASSERT_TRUE(probe.wait_for(sample::value_topic(device, "a"), std::to_string(round) + ".00", seconds(10)))
                << daemon.log().text();
            ASSERT_TRUE(probe.wait_for(sample::value_topic(device, "b_0"), "1", seconds(10))) << daemon.log().text();
        }
        broker.restart();
    }
    EXPECT_EQ(daemon.stop(), 1);
}
