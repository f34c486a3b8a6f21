// A Pulsar meter that goes away and comes back, through the real binary and broker.

#include <string>

#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/tcp_peer.h"

using std::chrono::seconds;

TEST(Pulsar, APeerThatIsAwayForTenSweeps) {
    Broker broker;
    TcpPeer peer;
    peer.script().on("12 34 56 78 0A 0C 03 10 ?? ?? ?? ??", "12 34 56 78 0A 0C FE FF {-4..-3} {crc}");
    Daemon daemon;
    MqttProbe probe(broker.port());
    Json::Value config = sample::root(broker.port());
    config["ports"].append(sample::tcp_port("pulsar", peer.port()));
    config["ports"][0]["poll_interval"] = 0;
    config["ports"][0]["devices"].append(sample::json(
        R"({"name": "water", "type": "pulsar-tcp", "type_device": "water_meter", "sid": 12345678, "delay": 10,
            "params": [{"name": "level", "parameter_number": "0x1003"}]})"));
    daemon.start_with(config);
    std::string const value = sample::value_topic("water_12345678", "level");
    ASSERT_TRUE(probe.wait_for(value, "-2", seconds(15))) << daemon.log().text();
    // Between the sweeps: in the middle of one it would end in a restart.
    ASSERT_TRUE(wait_until([&] { return !peer.connected(); }, seconds(2)));
    peer.stop_listening();
    auto const sweeps = [&] { return daemon.log().count("[3] [water_12345678] port->tran->is_open() : false"); };
    ASSERT_TRUE(wait_until([&] { return sweeps() >= 2; }, seconds(15))) << daemon.log().text();
    size_t const mark = probe.mark();
    int const descriptors = daemon.descriptor_count();
    ASSERT_TRUE(wait_until([&] { return sweeps() >= 10; }, seconds(20))) << daemon.log().text();
    EXPECT_LE(daemon.descriptor_count(), descriptors + 1);
    EXPECT_EQ(probe.count(sample::error_topic("water_12345678", "level"), mark), 0)
        << "a sweep that doesn't take place fails nothing";
    EXPECT_EQ(probe.count("stat/pulsar/poll", mark), 0);
    peer.listen();
    EXPECT_TRUE(probe.wait_for(value, "-2", seconds(10), mark)) << daemon.log().text();
    EXPECT_EQ(daemon.log().count("начало работы :"), 1);
}
