// SNMP agents through the real binary: Debian's snmpd, and a socket that never answers.

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/silent_socket.h"
#include "support/snmp_agent.h"

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr auto limit = seconds(20);

/// A port with one device of the same name.
Json::Value snmp_port(std::string const& name, std::string const& url, char const* keys = "") {
    Json::Value port =
        sample::json(R"({"type": "snmp", "poll_interval": 1, "devices": [{"params": [])" + std::string(keys) + "}]}");
    port["name"] = name;
    port["devices"][0]["name"] = name;
    port["devices"][0]["url"] = url;
    return port;
}

void add_param(Json::Value& port, std::string const& name, std::string const& oid, char const* keys = "") {
    Json::Value param = sample::json(R"({"type": "snmp")" + std::string(keys) + "}");
    param["name"] = name;
    param["oid"] = oid;
    port["devices"][0]["params"].append(param);
}

}  // namespace

TEST(Snmp, EveryTypeInBothVersions) {
    struct Row {
        char const* name;
        SnmpAgent::Object object;
        char const* value;  // null: none
        char const* keys = "";
        char const* told = nullptr;
        bool in_version_1 = true;
    };
    std::vector<Row> const rows = {
        {"text", {"octet_str", R"("a \"b\"")"}, R"("a \"b\"")"},
        {"bytes", {"octet_str", "0x001a"}, "00 1A "},
        {"empty", {"octet_str", R"("")"}, nullptr, "", R"(parse_value : не распознан ответ от сервера : "".)"},
        {"integer", {"integer", "-42"}, "-42"},
        {"scaled", {"integer", "415"}, "41.50 %", R"(, "scale": 0.1, "unit": "%")"},
        {"limited",
         {"integer", "101"},
         nullptr,
         R"(, "max": 100)",
         "значение вне пределов диапазона : min = 0.00 : value = 101.00 : max = 100.00."},
        {"gauge", {"uinteger", "4294967295"}, "4294967295"},
        {"counter", {"counter", "4000000000"}, "4000000000"},
        {"oid", {"object_id", ".1.3.6.1.4.1.99999.7"}, "iso.3.6.1.4.1.99999.7"},
        {"ticks", {"timeticks", "750"}, "750"},
        {"address", {"ipaddress", "192.0.2.7"}, "192.0.2.7"},
        {"wide", {"counter64", "18446744073709551615"}, "18446744073709551615", "", nullptr, false},
        {"opaque", {"opaque", "1"}, nullptr, "", "parse_value : не распознан ответ от сервера : "},
    };
    SnmpAgent::Objects objects;
    for (Row const& row : rows) {
        objects.push_back(row.object);
    }
    SnmpAgent const agent(objects);
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    Json::Value config = sample::root(broker.port());
    for (std::string const device : {"v2", "v1"}) {
        Json::Value port = snmp_port(device, agent.peer(), device == "v1" ? R"(, "version": 3)" : "");
        for (size_t index = 0; index < rows.size(); ++index) {
            add_param(port, rows[index].name, SnmpAgent::oid(index), rows[index].keys);
        }
        add_param(port, "missing", SnmpAgent::oid(rows.size()));
        config["ports"].append(port);
    }
    // What stands there would change nearly every value.
    daemon.folder().write(".snmp/snmp.conf", "printNumericOids yes\nquickPrinting yes\n");
    char const* const old_home = getenv("HOME");
    std::string const home = old_home != nullptr ? old_home : "/";
    setenv("HOME", daemon.folder().path().c_str(), 1);
    setenv("SNMP_PERSISTENT_DIR", daemon.folder().file("state").c_str(), 1);
    daemon.start_with(config);
    setenv("HOME", home.c_str(), 1);
    unsetenv("SNMP_PERSISTENT_DIR");

    for (std::string const device : {"v2", "v1"}) {
        for (Row const& row : rows) {
            SCOPED_TRACE(device + " " + row.name);
            bool const has_value = row.value != nullptr && (row.in_version_1 || device == "v2");
            std::string const topic = (has_value ? sample::value_topic : sample::error_topic)(device, row.name);
            auto const message = probe.wait_for(topic, limit);
            ASSERT_TRUE(message) << daemon.log().text();
            EXPECT_EQ(message->payload, has_value ? row.value : "r");
            EXPECT_EQ(message->qos, has_value ? 2 : 0);
            if (row.told != nullptr) {
                EXPECT_GE(daemon.log().count(std::string("[3] [") + row.name + "] " + row.told), 1);
            }
        }
    }
    // Version 2c blocks what the agent doesn't have, version 1 asks again.
    EXPECT_TRUE(probe.wait_for_count(sample::error_topic("v1", "missing"), 3, limit));
    EXPECT_EQ(probe.count(sample::error_topic("v2", "missing"), "r"), 1);
    // The library has left no trace, on the disk or in the output.
    EXPECT_FALSE(std::filesystem::exists(daemon.folder().file("state")));
    EXPECT_THAT(daemon.log().raw(), Not(HasSubstr("MIB search path")));
}

TEST(Snmp, ADeadAgentDelaysItsOwnPortOnlyAndNothingIsAskedWithoutABroker) {
    SnmpAgent const agent(SnmpAgent::Objects{{"integer", "5"}});
    SilentSocket silent;
    Broker broker;
    MqttProbe probe(broker.port());
    Daemon daemon;
    Json::Value config = sample::root(broker.port());
    for (std::string const name : {"dead", "a"}) {
        Json::Value port = snmp_port(name, name == "dead" ? silent.peer() : agent.peer(), R"(, "rto": 700)");
        add_param(port, "v", SnmpAgent::oid(0));
        config["ports"].append(port);
    }
    daemon.start_with(config);
    ASSERT_TRUE(probe.wait_for_count(sample::value_topic("a", "v"), 2, limit)) << daemon.log().text();
    EXPECT_EQ(probe.count("stat/dead/poll"), 0) << "its first pass still lasts";
    EXPECT_TRUE(probe.wait_for("stat/dead/poll",
                               "Статистика dead : опросов = 1 : ошибок = 1 [ 100.00 ] : вне диапазона = 0.", limit));
    EXPECT_TRUE(
        probe.wait_for("stat/a/poll", "Статистика a : опросов = 2 : ошибок = 0 [ 0.00 ] : вне диапазона = 0.", limit));

    broker.stop();
    size_t seen = 0;
    EXPECT_TRUE(wait_until(
        [&] {
            seen = silent.received().size();
            return holds_for([&] { return silent.received().size() == seen; }, milliseconds(2000));
        },
        limit))
        << "requests went on";
}
