// What the scenarios of the Zigbee driver can't show: topics that nobody has subscribed, and the count of errors.

#include <memory>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "config/config.h"
#include "drivers/z2t_tasmota/config.h"
#include "runtime/port_base.h"
#include "support/log_capture.h"
#include "support/sample_config.h"

TEST(Zigbee, ForeignTopicsAndValuesOutOfRange) {
    Json::Value root = sample::json(R"({"ports": [{"name": "zb", "type": "base.z2t", "zigbee": {"address": "1"},
        "devices": [{"name": "a", "type": "z2t", "cname": "a", "sid": "2", "params": [
            {"name": "sw", "z2t_name": "P", "read_only": false},
            {"name": "t", "z2t_name": "T", "value_type": "float32", "min": 0}]}]}]})");
    std::unique_ptr<Config> const config(Config::Load(root));
    PortBase port(nullptr, dynamic_cast<CPort*>(config->ports.children.at(0).get()));
    for (std::string topic :
         {"/devices/a_2/controls/t/on", "/devices/a_2/controls/sw", "/devices/a_3/controls/sw/on"}) {
        std::string payload = "1";
        EXPECT_FALSE(port.devices.at(0)->ProcMessage(topic, payload)) << topic;
    }
    LogCapture const log;
    for (char const* value : {"0", "-0.5"}) {
        std::string topic = "tele/zb_1/SENSOR";
        std::string payload = R"({"ZbReceived": {"2": {"T": )" + std::string(value) + "}}}";
        port.ProcMessage(topic, payload);
    }
    EXPECT_EQ(port.errors, 1);
    Json::Value node = root["ports"][0]["devices"][0];
    EXPECT_THROW(z2t_tasmota::config_device_t(nullptr, node), std::exception);
}
