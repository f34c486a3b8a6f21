// What a worker does while it rests: here it rests for an hour, so that nothing is served by a pass.

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "config/config.h"
#include "ctl/line/wait_until.h"
#include "runtime/port_base.h"
#include "support/broker.h"
#include "support/libmodbus_tcp_slave.h"
#include "support/log_capture.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"

namespace {

constexpr auto soon = std::chrono::seconds(5);

class RestingPort : public PortBase {
 public:
    explicit RestingPort(CPort* node) : PortBase(nullptr, node) { worker_delay = 3600 * 1000; }
    ~RestingPort() override { end(); }
};

/// Stands for a driver that raises where nothing below the worker catches it.
class RaisingDevice : public DevBase {
 public:
    using DevBase::DevBase;
    void ProcConnect() override { port->mq_subscribe({{"tele/zigbee_1/SENSOR", 2}}); }
    // NOLINTNEXTLINE(performance-unnecessary-value-param): as declared
    bool ProcMessage(std::string const& /*topic*/, std::string const& key, Json::Value /*value*/) override {
        throw std::runtime_error(key);
    }
};

CBFac const node_registrar("raising.cdev", FromJson<CDev>::create);
IBFac const registrar("raising.dev", FromNode<RaisingDevice>::create);

std::unique_ptr<Config> config(Broker const& broker, Json::Value const& port) {
    Json::Value root = sample::root(broker.port());
    root["ports"].append(port);
    return std::unique_ptr<Config>(Config::Load(root));
}

CPort* only_port(Config& config) {
    return dynamic_cast<CPort*>(config.ports.children.at(0).get());
}

}  // namespace

TEST(WorkersRest, AMessageIsServedAtOnceAndEndsWithoutThePass) {
    LogCapture const log;
    Broker const broker;
    LibmodbusTcpSlave slave;
    Json::Value node = sample::tcp_port("line", slave.port());
    node["devices"].append(sample::json(R"({"name": "plc", "type": "mb-tcp", "sid": 1, "params":
        [{"name": "t", "reg_addr": 7, "value_type": "u16", "read_only": false}]})"));
    auto const tree = config(broker, node);
    RestingPort port(only_port(*tree));
    ASSERT_TRUE(port.Start());
    ASSERT_TRUE(wait_until([&] { return log.has("MQTT соединение установлено."); }, soon));
    MqttProbe probe(broker.port());
    for (std::string const value : {"41", "42"}) {
        ASSERT_TRUE(probe.publish(sample::on_topic("plc_1", "t"), value));
        EXPECT_TRUE(probe.wait_for(sample::value_topic("plc_1", "t"), value, soon)) << probe.text();
    }
    port.Stop();
    EXPECT_EQ(port.polls, 0);
    EXPECT_EQ(log.count("[4] [line] открытие TCP соединения : "), 1) << "it is kept from one message to the next";
    slave.with_image([](modbus_mapping_t& image) { EXPECT_EQ(image.tab_registers[7], 42); });
}

TEST(WorkersRest, WhatIsRaisedCountsForTheFirstDeviceAndTheRestGoesOn) {
    LogCapture const log;
    Broker const broker;
    auto const tree =
        config(broker, sample::json(R"({"name": "zigbee", "type": "base.z2t", "zigbee": {"address": "1"}, "devices":
        [{"name": "first", "type": "raising"}, {"name": "second", "type": "raising"}]})"));
    RestingPort port(only_port(*tree));
    ASSERT_TRUE(port.Start());
    ASSERT_TRUE(wait_until([&] { return log.has("MQTT соединение установлено."); }, soon));
    // Together: the second must not wait for a push of its own.
    for (std::string const key : {"one", "two"}) {
        port.queue->Push(std::make_unique<xMQ::mqMessage>("tele/zigbee_1/SENSOR", R"({")" + key + R"(": 1})"));
    }
    for (std::string const key : {"one", "two"}) {
        EXPECT_TRUE(
            wait_until([&] { return log.has("[3] [first] исключение при опросе устройства : " + key + "."); }, soon));
    }
    port.Stop();
    EXPECT_EQ(port.errors, 2);
}
