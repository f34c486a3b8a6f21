#include <filesystem>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "config/constants.h"
#include "config/process.h"
#include "ctl/check/loading.h"
#include "ctl/json_text.h"
#include "ctl/mutations.h"
#include "ctl/scenario/offset_clock.h"
#include "ctl/scenario/port_bench.h"
#include "support/log_capture.h"
#include "support/temp_folder.h"
#include "topics/topic_list.h"

namespace {

std::vector<TopicRow> topics_of(std::string const& path) {
    Loading const loading(path);
    return loading.config ? list_topics(*loading.config, loading.gpio.get(), IdlePorts(*loading.config))
                          : std::vector<TopicRow>();
}

/// What is done in a scenario, and what came of it.
std::vector<Published> published_in(Scenario const& scenario) {
    PortBench bench(scenario);
    for (Step const& step : scenario.steps) {
        if (step.kind == Step::Kind::clock) {
            offset_clock::advance(step.number);
        } else if (step.kind == Step::Kind::message) {
            bench.message(step.topic, step.text);
        }
        for (int pass = 0; step.kind == Step::Kind::pass && pass < step.number; ++pass) {
            bench.pass();
        }
    }
    return bench.published;
}

}  // namespace

TEST(Topics, ListsWhateverTheScenariosPublish) {
    LogCapture const log(false);
    good_configurations();  // for their templates
    TempFolder const folder;
    offset_clock::skip_delays(true);
    size_t values = 0;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(SOURCE_DIR "/tests/scenarios")) {
        Scenario const scenario =
            entry.path().extension() == ".scn" ? Scenario::read(entry.path(), entry.path().stem()) : Scenario();
        if (!scenario.in_process || scenario.steps.empty()) {
            continue;
        }
        std::set<std::string> topics;
        for (TopicRow const& row : topics_of(folder.write("c.json", json_text(scenario.whole_config())))) {
            topics.insert(row.is_read ? row.topic : "");
        }
        for (Published const& item : published_in(scenario)) {
            // The bridge's own state is no parameter.
            if (item.retained && item.topic.find("/controls/") != std::string::npos &&
                !item.topic.starts_with("/devices/z2t_tasmota_")) {
                EXPECT_TRUE(topics.contains(item.topic)) << scenario.path << ": " << item.topic;
                ++values;
            }
        }
        offset_clock::reset();
    }
    offset_clock::skip_delays(false);
    EXPECT_GE(values, 300U);
}

TEST(Topics, TellsWhatADeviceTakesAndWhen) {
    struct Row {
        char const* port;    ///< beside its name
        char const* device;  ///< beside its name
        char const* param;   ///< beside its name
        char const* row;     ///< topic, direction, interval
    };
    constexpr char line[] = R"("type": "base.rs", "rs": {"path": "/dev/x"})";
    constexpr char modbus[] = R"("type": "mb-rtu", "sid": 1)";
    Row const rows[] = {
        {line, modbus, R"("reg_addr": 1, "value_type": "u16", "read_only": false, "poll_interval": 5)", "d_1 rw 5"},
        {line, modbus, R"("reg_addr": 1, "reg_type": "input", "value_type": "u16", "read_only": false)", "d_1 r 60"},
        {line, modbus, R"("reg_addr": 1, "value_type": "fixi16", "read_only": false)", "d_1 r 60"},
        {line, R"("type": "mb-rtu", "sid": 1, "all_params": true, "poll_interval": 9)",
         R"("reg_addr": 1, "value_type": "u16", "poll_interval": 5)", "d_1 r 9"},
        {line, R"("type": "vkt7-rtu", "sid": 1)", R"("reg_addr": 3, "read_only": false)", "d_1 r 60"},
        {line, R"("type": "dcon", "sid": 1)", R"("type": "dcon", "cmd": 15)", "d_1 w"},
        {line, R"("type": "dcon", "sid": 1)", R"("type": "dcon", "cmd": 10, "read_only": false)", ""},
        {line, R"("type": "dcon", "sid": 1)", R"("reg_addr": 1, "value_type": "u16")", ""},
        {line, R"("type": "media_ctrl", "sid": 1)", R"("unit": "V")", "d w"},
        {line, R"("type": "milur", "sid": 1)", R"("object_id": 1, "value_type": "u16", "read_only": false)",
         "d_1 r 60"},
        {R"("type": "base.tcp", "tcp": {"port": 1})",
         R"("type": "pulsar-tcp", "sid": 1, "delay": 0, "type_device": "water_meter", "poll_interval": 300)",
         R"("parameter_number": 1, "poll_interval": 5)", "d_1 r 300"},
        {R"("type": "base.z2t", "zigbee": {"address": "A"})", R"("type": "z2t", "cname": "c", "sid": "0x1")",
         R"("z2t_name": "T", "read_only": false)", "c_0x1 rw"},
        {R"("type": "snmp")", R"("url": "::1")", R"("oid": "1.3.6")", "d r 60"},
        {R"("type": "dlms.tcp", "tcp": {"port": 1})", R"("sn": "1")",
         R"("class_id": 1, "object_id": "1.0.1.8.0.255", "attr_id": 2, "read_only": false)", "d r 60"},
        {R"("type": "dlms.tcp", "tcp": {"port": 1})", R"("sn": "1")",
         R"("class_id": 1, "object_id": "1.0.1.8.0.255", "attr_id": 2, "read_only": false, "value_type": "u8")",
         "d rw 60"},
    };
    LogCapture const log(false);
    TempFolder const folder;
    for (Row const& row : rows) {
        std::string const text = std::string(R"({"ports": [{"name": "p", )") + row.port +
                                 R"(, "devices": [{"name": "d", )" + row.device + R"(, "params": [{"name": "a", )" +
                                 row.param + "}]}]}]}";
        std::string told;
        for (TopicRow const& topic : topics_of(folder.write("c.json", text))) {
            std::string const name = topic.topic.substr(9, topic.topic.find("/controls/") - 9);
            told += name + " " + topic.direction() + (topic.interval ? " " + std::to_string(*topic.interval) : "");
        }
        EXPECT_EQ(told, row.row) << text;
    }
}
