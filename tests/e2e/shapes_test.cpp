// Templates, the connection shape of the file, and the command line, through a running daemon.

#include <chrono>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"
#include "support/tcp_peer.h"

using std::chrono::seconds;

TEST(Shapes, ATemplateWithItsOverlay) {
    Broker broker;
    Daemon daemon(Daemon::Image::testable);
    daemon.folder().write("templates/meter.json", R"({"name": "meter", "params": [
        {"name": "kept", "reg_addr": 1, "value_type": "u16", "unit": "V"},
        {"name": "changed", "reg_addr": 1, "value_type": "u16", "unit": "V"}]})");
    Json::Value config = sample::root(broker.port());
    config["ports"].append(sample::json(R"({"name": "p", "type": "base.null", "poll_interval": 1, "devices": [
        {"name": "d", "type": "mb-rtu", "sid": 17, "templ": "meter", "params": [
            {"name": "changed", "unit": "A"}, {"name": "added", "reg_addr": 2, "value_type": "u16"}]}]})"));
    daemon.start_with(config);
    MqttProbe probe(broker.port());
    EXPECT_TRUE(probe.wait_for(sample::value_topic("d_17", "kept"), "5 V", seconds(15))) << daemon.log().text();
    EXPECT_TRUE(probe.wait_for(sample::value_topic("d_17", "changed"), "5 A", seconds(5)));
    EXPECT_TRUE(probe.wait_for(sample::value_topic("d_17", "added"), "5", seconds(5)));
    EXPECT_EQ(daemon.log().count("[4] [d_17] загрузка шаблона : meter."), 1);
}

TEST(Shapes, TheConnectionShapeWithItsSplitPorts) {
    Broker broker;
    TcpPeer first;
    TcpPeer second;
    // Unit 7 and unit 9: one holding register at 1, the second one refused.
    first.script().on("00 01 00 00 00 06 07 03 00 01 00 01", "00 01 00 00 00 05 07 03 02 01 02");
    second.script().on("00 01 00 00 00 06 09 03 00 02 00 01", "00 01 00 00 00 03 09 83 02");
    Json::Value config = sample::json(R"({"ports": [
        {"connection": {"name": "bus", "type": "base.tcp", "poll_interval": 1, "tcp": {"port": 0}},
         "devices": [{"cname": "boiler", "name": "Boiler room", "type": "mb-tcp"},
                     {"cname": "pump", "name": "Pump", "type": "mb-tcp"}],
         "parameters": [{"cname": "boiler", "config": {"channels": [{"name": "t", "reg_addr": 1, "value_type": "u16"}]}},
                        {"cname": "pump", "config": {"channels": [{"name": "p", "reg_addr": 2, "value_type": "u16"}]}}]},
        {"connection": {"type": "base.null", "poll_interval": 1},
         "devices": [{"cname": "dry", "name": "Dry run", "type": "mb-rtu", "sid": 17}],
         "parameters": [{"cname": "dry", "config": {"channels": [{"name": "v", "reg_addr": 1, "value_type": "u16"}]}}]}
    ]})");
    config["mqtt"]["url"] = "127.0.0.1";
    config["mqtt"]["port"] = broker.port();
    // Both peers answer on loopback addresses of their own, under the one port number that the connection gives.
    Json::Value& devices = config["ports"][0]["devices"];
    devices[0]["sid"] = "127.0.0.1:7";
    devices[1]["sid"] = "127.0.0.1:9";
    config["ports"][0]["connection"]["tcp"]["port"] = first.port();
    Json::Value pump_port = config["ports"][0];
    pump_port["connection"]["tcp"]["port"] = second.port();
    pump_port["devices"] = Json::Value(Json::arrayValue);
    pump_port["devices"].append(devices[1]);
    devices.resize(1);
    config["ports"].append(pump_port);

    Daemon daemon;
    daemon.start_with(config);
    MqttProbe probe(broker.port());
    EXPECT_TRUE(probe.wait_for(sample::value_topic("boiler_7", "t"), "258", seconds(20))) << daemon.log().text();
    EXPECT_TRUE(probe.wait_for(sample::error_topic("pump_9", "p"), "r", seconds(20))) << daemon.log().text();
    EXPECT_TRUE(probe.wait_for(sample::value_topic("dry_17", "v"), "5", seconds(20))) << daemon.log().text();
    // The display name stands in the report of a failed device.
    EXPECT_TRUE(probe.wait_for("/devices/error", "Pump", seconds(5))) << probe.text();
    for (char const* port : {"bus_Boiler room_0", "bus_Pump_0", "port_1"}) {
        EXPECT_EQ(daemon.log().count(std::string("--- start : ") + port + " : "), 2) << port;
    }
    EXPECT_EQ(daemon.log().count("операция НЕ выполнена : Адрес данных, указанный в запросе, недоступен.") > 0, true);
}

TEST(Options, DetailHexTracesCopyAndALogOfItsOwn) {
    struct Row {
        std::vector<std::string> options;
        bool detail;
        bool hex;
        bool copied;
    };
    Row const rows[] = {
        {{}, false, false, false},
        {{"-x", "-d", "-y"}, true, false, false},
        {{"-hv"}, false, true, true},
    };
    Broker broker;
    Json::Value config = sample::root(broker.port());
    config["log"]["is_debug"] = false;
    config["ports"].append(sample::json(R"({"name": "p", "type": "base.null", "poll_interval": 1, "devices": [
        {"name": "d", "type": "mb-rtu", "sid": 17, "params": [
            {"name": "a", "reg_addr": 1, "value_type": "u16", "scale": 2}]}]})"));
    for (Row const& row : rows) {
        Daemon daemon(Daemon::Image::testable);
        std::vector<std::string> arguments = {"-c", daemon.write_config(config), "-l", "own.log"};
        arguments.insert(arguments.end(), row.options.begin(), row.options.end());
        daemon.start_bare(arguments);
        MqttProbe probe(broker.port());
        ASSERT_TRUE(probe.wait_for_count(sample::value_topic("d_17", "a"), 5, seconds(20))) << daemon.log().text();
        EXPECT_EQ(daemon.stop(), 1);

        std::ifstream file(daemon.folder().file("log/own.log"));
        std::stringstream content;
        content << file.rdbuf();
        std::string const log = content.str();
        // Everything behind the start of the work belongs to the settings; before it all detail is on.
        std::string const work = log.substr(std::min(log.size(), log.find("начало рабочего цикла")));
        SCOPED_TRACE(log);
        EXPECT_NE(log.find("[4] [Config::Load] Load : загрузка списка : ports."), std::string::npos);
        EXPECT_EQ(work.find("mem_usage") != std::string::npos, row.detail);
        EXPECT_EQ(log.find("dev_mb_rtu::get_response : запрос : 11 03 00 01 00 01 D7 5A") != std::string::npos,
                  row.hex);
        EXPECT_NE(work.find("конец работы."), std::string::npos);
        EXPECT_EQ(daemon.log().count("конец работы.") > 0, row.copied);
    }
}

TEST(Options, TheFirstDefaultFileWinsAndAMissingOneIsAnnounced) {
    Broker broker;
    Json::Value config = sample::root(broker.port());
    Daemon daemon(Daemon::Image::testable);
    std::string const first = daemon.write_config(config, "etc/driver.json");
    daemon.write_config(config, "etc/ostrand.json");
    daemon.start({"-c", daemon.folder().file("missing.json")});
    EXPECT_TRUE(daemon.log().wait_for("config = " + first, seconds(10))) << daemon.log().text();
    EXPECT_EQ(daemon.log().count("[3] Указанный файл конфигурации не найден. Режим ожидания..."), 1);
    EXPECT_EQ(daemon.log().count("Не найден ни один"), 0);
}
