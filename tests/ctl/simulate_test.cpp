// Simulated devices: the daemon's drivers must get a value from each of their parameters, and the protocols' own
// manuals say what they answer beside that.

#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/config.h"
#include "ctl/line/listener.h"
#include "ctl/scenario/offset_clock.h"
#include "ctl/scenario/port_bench.h"
#include "ctl/simulate/simulation.h"
#include "ctl/simulate/zigbee_bridge.h"
#include "foundation/xstring.h"
#include "support/sample_config.h"
#include "support/temp_folder.h"

namespace {

namespace fs = std::filesystem;
using xCommon::xString;

/// The devices of a port, and its drivers on a bench that ask them.
class Desk {
 public:
    explicit Desk(Json::Value const& port, double fault_rate = 0) : faults_(fault_rate), devices_(faults_) {
        Json::Value root;
        root["ports"].append(port);
        scenario_.config = root;
        tree_.reset(Config::Load(root));
        for (auto const& device : tree_->ports.children.at(0)->children) {
            EXPECT_TRUE(devices_.add(dynamic_cast<CDev&>(*device))) << device->name;
        }
        offset_clock::skip_delays(true);
        bench_ = std::make_unique<PortBench>(scenario_);
        bench_->line(port["name"].asString()).script.otherwise([this](sim::View request) {
            return Reply{.hex = hex::text(devices_.answer(request, seconds_))};
        });
    }
    ~Desk() { offset_clock::reset(); }
    Desk(Desk const&) = delete;
    Desk& operator=(Desk const&) = delete;

    void pass(int times) {
        for (; times > 0; --times, seconds_ += 7) {
            bench_->pass();
        }
    }
    std::string answer(std::string const& request) { return hex::text(devices_.answer(hex::bytes(request), seconds_)); }
    /// What has come, by the control's name; errors by its name and "/meta/error".
    std::map<std::string, std::set<std::string>> values() const {
        std::map<std::string, std::set<std::string>> result;
        for (Published const& item : bench_->published) {
            size_t const at = item.topic.find("/controls/");
            if (at != std::string::npos) {
                result[item.topic.substr(at + std::string("/controls/").size())].insert(item.payload);
            }
        }
        return result;
    }

 private:
    Scenario scenario_;
    sim::Faults faults_;
    sim::Devices devices_;
    std::unique_ptr<Config> tree_;
    std::unique_ptr<PortBench> bench_;
    double seconds_ = 0;
};

Json::Value port(std::string const& type, std::string const& devices) {
    Json::Value result = json_of(R"({"name": "p", "poll_interval": 0, "rto": 50, "rs": {"path": "/dev/null"},
                                     "tcp": {"url": "127.0.0.1", "port": 502}})");
    result["type"] = type;
    result["devices"] = json_of(devices);
    return result;
}

/// Every value type in every word order, and what changes what goes over the wire.
std::string modbus_device(std::string const& type, bool in_sets) {
    std::string params;
    int address = 10;
    auto const add = [&](std::string const& name, std::string const& keys) {
        params +=
            xString::Format(R"(%s{"name": "%s", "reg_addr": %d, %s})", params.empty() ? "" : ",", name, address, keys);
        address += 4;
    };
    for (std::string const order : {"big_endian", "little_endian", "mid_big_endian", "mid_little_endian"}) {
        for (std::string const value : {"i8", "u8", "i16", "u16", "i32", "u32", "float32", "float16", "fixi16",
                                        "fixu16", "str2", "str4", "str8", "bit"}) {
            bool const is_limited = value.find("16") == std::string::npos && value[0] != 's' && value != "bit";
            add(value + "_" + order, xString::Format(R"("value_type": "%s", "word_order": "%s", "reg_type": "%s"%s)",
                                                     value, order, address % 8 == 2 ? "input" : "holding-m",
                                                     is_limited ? R"(, "scale": 0.5, "min": 21, "max": 44)" : ""));
        }
    }
    add("coil", R"("reg_type": "coil", "value_type": "bit")");
    add("status", R"("reg_type": "status", "value_type": "bit")");
    add("negative", R"("value_type": "i32", "scale": -0.1, "min": -90, "max": -80)");
    add("below", R"("value_type": "i16", "max": -20, "read_only": false)");
    add("far", R"("value_type": "u32", "reg_type": "input", "unit": "Wh", "scale": 0.001)");
    if (!in_sets) {
        add("bent",
            R"x("value_type": "u16", "min": 70, "max": 90, "converter_read": "Math.round(value * 9 / 5 + 32)")x");
        add("bits", R"("value_type": "u16", "reg_type": "holding-bit",
                       "bh_list": [{"name": "a", "offset": 0}, {"name": "b", "offset": 15}])");
        add("wide", R"("value_type": "u32", "reg_type": "input-bit", "word_order": "mid_little_endian",
                       "bh_list": [{"name": "a", "offset": 31}])");
    }
    return xString::Format(R"([{"name": "d", "type": "%s", "sid": 17, "all_params": %s, "params": [%s]}])", type,
                           in_sets ? "true" : "false", params);
}

}  // namespace

TEST(Simulate, EveryParameterGetsMovingValuesWithinItsLimits) {
    struct Row {
        char const* type;
        std::string devices;
    };
    Row const rows[] = {
        {"base.rs", modbus_device("mb-rtu", false)},
        {"base.rs", modbus_device("mb-rtu", true)},
        {"base.tcp", modbus_device("mb-tcp", false)},
        {"base.tcp", modbus_device("mb-tcp", true)},
        {"base.rs", R"([{"name": "d", "type": "dcon", "sid": 10, "crc_enabled": false, "params": [
            {"name": "pulses", "type": "dcon", "cmd": 9, "channel": "0"},
            {"name": "level", "type": "dcon", "cmd": 9, "channel": "a", "min": -5, "max": 5},
            {"name": "state", "type": "dcon", "cmd": 13, "bh_list": [{"name": "x", "offset": 9}]},
            {"name": "inputs", "type": "dcon", "cmd": 21, "bh_list": [{"name": "x", "offset": 3, "inverted": true}]}]}])"},
        {"base.rs", R"([{"name": "d", "type": "merc230", "sid": 21, "params": [
            {"name": "ma", "reg_type": "array16", "tarif": 0, "month": 0, "value_type": "ma", "offset": 8},
            {"name": "ma0", "reg_type": "array16", "tarif": 0, "month": 0, "value_type": "ma"},
            {"name": "a", "reg_type": "array12", "arr_num": 6, "tarif": 1, "value_type": "ma", "offset": 8},
            {"name": "m0a", "reg_type": "param", "bwri": 0, "value_type": "m0a", "min": -2000, "max": -1000},
            {"name": "m0r", "reg_type": "param", "bwri": 4, "value_type": "m0r", "min": -70000, "max": 70000},
            {"name": "m1", "reg_type": "param", "bwri": "0x11", "value_type": "m1", "scale": 0.01, "unit": "V", "min": 200},
            {"name": "m3", "reg_type": "param", "bwri": "0x30", "value_type": "m3", "min": -40, "max": -20},
            {"name": "m6", "reg_type": "param", "bwri": "0x60", "value_type": "m6", "max": 600},
            {"name": "m7", "reg_type": "param", "bwri": "0x70", "value_type": "m7", "min": 300}]},
            {"name": "again", "type": "merc236", "sid": 277, "params": [
            {"name": "other", "reg_type": "param", "bwri": "0x41", "value_type": "m1"}]}])"},
        {"base.rs", R"([{"name": "d", "type": "milur", "sid": 11, "params": [
            {"name": "i32", "object_id": 1, "value_type": "i32", "min": -60, "max": -20},
            {"name": "u16", "object_id": 2, "value_type": "u16"}, {"name": "u24", "object_id": 3, "value_type": "u24"},
            {"name": "i24", "object_id": 260, "value_type": "i24", "min": 70000, "max": 90000},
            {"name": "energy", "object_id": 5, "value_type": "bcd32"}]}])"},
        {"base.rs", R"x([{"name": "d", "type": "emera", "sid": "12", "params": [
            {"name": "total", "cmd": "ET0PE(%day%.%month%.%year%)", "unit": "kWh"},
            {"name": "tariff", "cmd": "ET0PE(%day%.%month%.%year%)", "offset": 2, "unit": "kWh"},
            {"name": "u", "cmd": "U()", "unit": "V", "min": 220}]}])x"},
        {"base.rs", R"([{"name": "d", "type": "vkt7-rtu", "sid": 1, "params": [
            {"name": "t", "type": "vkt7-rtu", "reg_addr": 0, "min": 20, "max": 30}, {"name": "flow", "reg_addr": 19},
            {"name": "v", "reg_addr": 3, "unit": "m3"}, {"name": "q", "reg_addr": 12, "unit": "Gcal"},
            {"name": "s", "type": "vkt7-rtu", "reg_addr": 77, "reg_type": "input-bit", "value_type": "u16",
             "bh_list": [{"name": "x", "offset": 4}]}]}])"},
        {"dlms.rs", R"([{"name": "d", "sn": "AB12345", "params": [
            {"name": "u32", "class_id": 3, "object_id": "1.0.1.8.0.255", "attr_id": 2, "value_type": "u32"},
            {"name": "none", "class_id": 3, "object_id": "1.0.2.8.0.255", "attr_id": 2},
            {"name": "f", "class_id": 3, "object_id": "1.0.3.8.0.255", "attr_id": 2, "value_type": "float32", "min": 5, "max": 90},
            {"name": "i8", "class_id": 1, "object_id": "0.0.1.8.0.255", "attr_id": 2, "value_type": "i8"},
            {"name": "bit", "class_id": 1, "object_id": "0.0.2.8.0.255", "attr_id": 2, "value_type": "bit"},
            {"name": "text", "class_id": 1, "object_id": "0.0.3.8.0.255", "attr_id": 2, "value_type": "str"}]}])"},
        {"dlms.rs.old", R"([{"name": "d", "sn": "AB12345", "params": [
            {"name": "u", "class_id": 3, "object_id": "1.0.32.7.0.255", "attr_id": 2, "value_type": "u16", "scale": 0.1,
             "unit": "V"}]}, {"name": "e", "sn": "AB12346", "params": [
            {"name": "i", "class_id": 3, "object_id": "1.0.1.7.0.255", "attr_id": 2, "value_type": "i16", "max": -4}]}])"},
        {"base.tcp", R"([{"name": "d", "type": "pulsar-tcp", "type_device": "water_meter", "sid": 12345678, "delay": 0,
            "params": [{"name": "c1", "function": 1, "parameter_number": 1}, {"name": "c2", "function": 1, "parameter_number": 2},
            {"name": "low", "parameter_number": "0x0125", "max": 3}, {"name": "i16", "parameter_number": "0x1003", "max": -1},
            {"name": "u32", "parameter_number": "0x0013"}, {"name": "on", "parameter_number": 3},
            {"name": "status", "parameter_number": "0x0010"}, {"name": "band", "parameter_number": "0x0200"},
            {"name": "link", "parameter_number": "0x10F0"}, {"name": "state", "parameter_number": "0x11F0"},
            {"name": "counter", "parameter_number": "0x11F1"}]},
            {"name": "e", "type": "pulsar-tcp", "type_device": "pulse_counter", "sid": 87654321, "delay": 0, "params": [
            {"name": "c", "function": 1, "parameter_number": 3}, {"name": "i8", "parameter_number": "0x0012"},
            {"name": "f", "parameter_number": 5}]}])"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.devices.substr(0, 60) +
                     (row.devices.find("\"all_params\": true") != std::string::npos ? " sets" : ""));
        Json::Value const shown = port(row.type, row.devices);
        Desk desk(shown);
        desk.pass(16);
        auto const values = desk.values();
        size_t expected = 0;
        for (Json::Value const& device : shown["devices"]) {
            for (Json::Value const& param : device["params"]) {
                expected += param.isMember("bh_list") ? param["bh_list"].size() : 1U;
            }
        }
        EXPECT_EQ(values.size(), expected);
        for (auto const& [name, texts] : values) {
            EXPECT_GE(texts.size(), 2U) << name << " stands still at " << *texts.begin();
            EXPECT_EQ(name.find("/meta/error"), std::string::npos) << name;
        }
    }
}

TEST(Simulate, NeverTheBytesThatStandForNoValue) {
    Desk desk(port("base.rs", R"([{"name": "d", "type": "mb-rtu", "sid": 1, "params": [
        {"name": "one", "reg_addr": 0, "value_type": "u16", "min": 0, "max": 1, "error_value": "0x0000"}]}])"));
    desk.pass(10);
    EXPECT_EQ(desk.values(), (std::map<std::string, std::set<std::string>>{{"one", {"1"}}}));
}

TEST(Simulate, AnswersToWritesSessionsAndWhatIsWrong) {
    struct Pair {
        char const* request;
        char const* reply;
    };
    struct Row {
        char const* device;
        std::vector<Pair> exchanges;  ///< with the CRC left out
    };
    Row const rows[] = {
        {R"({"name": "d", "type": "mb-rtu", "sid": 17, "params": [
            {"name": "c", "reg_type": "coil", "reg_addr": 9, "value_type": "bit"},
            {"name": "f", "reg_type": "holding-m", "reg_addr": 2, "value_type": "float32"},
            {"name": "t", "reg_type": "holding-m", "reg_addr": 4, "value_type": "str8"}]})",
         {{"11 05 00 09 FF 00", "11 05 00 09 FF 00"},
          {"11 01 00 09 00 01", "11 01 01 01"},
          {"11 05 00 09 00 01", "11 85 03"},
          {"11 10 00 02 00 02 04 3F C0 00 00", "11 10 00 02 00 02"},
          {"11 06 00 03 12 34", "11 06 00 03 12 34"},
          {"11 03 00 02 00 02", "11 03 04 3F C0 12 34"},
          // A text comes as long as it is.
          {"11 10 00 04 00 04 08 4F 4B", "11 10 00 04 00 04"},
          {"11 03 00 04 00 04", "11 03 08 4F 4B 00 00 00 00 00 00"},
          {"11 03 01 00 00 01", "11 83 02"},
          {"11 04 00 02 00 01", "11 84 02"},
          {"11 03 FF FF 00 02", "11 83 02"},
          {"11 03 00 02 00 7E", "11 83 03"},
          {"11 2B 00 00 00 00", "11 AB 01"},
          {"12 03 00 02 00 02", ""}}},
        {R"({"name": "d", "type": "merc230", "sid": 5, "params": [
            {"name": "u", "reg_type": "param", "bwri": "0x11", "value_type": "m1", "min": 66051, "max": 66051}]})",
         {{"05 08 11 11", "05 05"},
          {"05 01 01 01 01 01 01 01 01", "05 03"},
          {"05 01 01 07 03 08 02 00 05", "05 00"},
          {"05 08 11 11", "05 01 03 02"},
          {"05 08 11 12", "05 01"},
          {"05 02", "05 00"}}},
        {R"({"name": "d", "type": "milur", "sid": 5, "params": [
            {"name": "e", "object_id": 32, "value_type": "u16", "min": 2304, "max": 2304},
            {"name": "b", "object_id": 4, "value_type": "bcd32", "min": 12345678, "max": 12345680}]})",
         {{"05 01 20", "05 81 08"},
          {"05 08 00 5C A7 31 E2 0D 9B", "05 08 00"},
          {"05 01 20", "05 01 20 04 00 09"},
          {"05 01 21", "05 81 02"},
          {"05 09 01", "05 09 01"}}},
        {R"({"name": "d", "type": "set-4tm", "sid": 5, "params": [{"name": "e", "command": 5, "param": 0}]})",
         {{"05 00", "05 00 00"}, {"05 08 31 36 34 39 33 37", "05 08 00"}, {"05 08 30", "05 88 0D"}}},
    };
    for (Row const& row : rows) {
        Desk desk(port("base.rs", std::string("[") + row.device + "]"));
        for (auto const& [request, reply] : row.exchanges) {
            EXPECT_EQ(desk.answer(hex::with_crc16(request)), *reply == '\0' ? "" : hex::with_crc16(reply)) << request;
        }
    }
    // >01+1.23 and the like: addresses and checksums of the text protocol.
    Desk module(port("base.rs", R"([{"name": "d", "type": "dcon", "sid": 1, "params": [
        {"name": "c", "type": "dcon", "cmd": 10}, {"name": "n", "type": "dcon", "cmd": 1}]}])"));
    EXPECT_EQ(module.answer("24 30 31 32 42 37 0D"), "21 30 31 34 30 30 36 38 30 42 34 0D");
    EXPECT_EQ(module.answer("24 30 31 32 42 38 0D"), "") << "a wrong checksum";
    EXPECT_EQ(module.answer("24 30 31 4D 44 32 0D"), "3F 30 31 41 30 0D") << "an unknown command";
}

TEST(Simulate, FaultsLoseSomeValuesAndNeverMakeAWrongOne) {
    for (char const* const type : {"mb-rtu", "milur"}) {
        std::string const params =
            R"([{"name": "v", "reg_addr": 1, "object_id": 1, "value_type": "u16", "min": 900, "max": 1000}])";
        Desk desk(
            port("base.rs", xString::Format(R"([{"name": "d", "type": "%s", "sid": 5, "params": %s}])", type, params)),
            0.4);
        desk.pass(100);
        auto const values = desk.values();
        ASSERT_TRUE(values.contains("v") && values.contains("v/meta/error")) << type;
        EXPECT_GE(std::stoi(*values.at("v").begin()), 900) << type;
        EXPECT_LE(std::stoi(*values.at("v").rbegin()), 1000) << type;
    }
}

TEST(Simulate, ABridgeKeepsWhatIsWritten) {
    Json::Value root =
        json_of(R"({"ports": [{"name": "zb", "type": "base.z2t", "zigbee": {"address": "0x1"}, "devices": [
        {"name": "d", "type": "z2t", "cname": "lamp", "sid": "0x11", "params": [
            {"name": "power", "z2t_name": "Power", "read_only": false}, {"name": "dim", "z2t_name": "Dimmer"}]}]}]})");
    std::unique_ptr<Config> const tree(Config::Load(root));
    sim::ZigbeeBridge bridge("zb_0x1");
    bridge.add(dynamic_cast<z2t_tasmota::config_device_t&>(*tree->ports.children.at(0)->children.at(0)));
    EXPECT_EQ(bridge.command_topic(), "cmnd/zb_0x1/ZbSend");
    EXPECT_EQ(bridge.reports(0).size(), 2U);
    auto const power = [&](std::string const& value) {
        auto const sent = bridge.take_command(R"({"Device":"0x11","Endpoint":1,"Send":{"Power":")" + value + "\"}}", 0);
        return sent.empty() ? Json::Value() : json_of(sent[0].payload)["ZbReceived"]["0x11"]["Power"];
    };
    EXPECT_EQ(power("on"), 1);
    EXPECT_EQ(power("TOGGLE"), 0);
    EXPECT_EQ(power("2"), 2);
    EXPECT_EQ(json_of(bridge.reports(30)[0].payload)["ZbReceived"]["0x11"]["Power"], 2);
    for (char const* const other :
         {"no JSON", "[]", R"({"Device":"0x12","Send":{"Power":"1"}})", R"({"Device":"0x11","Send":7})"}) {
        EXPECT_TRUE(bridge.take_command(other, 0).empty()) << other;
    }
}

TEST(Simulate, TakesThePlacesOfTheConfigurationWhereTheyAreFree) {
    TempFolder const folder;
    std::string const used = folder.write("used", "somebody's");
    Listener const taken;
    Json::Value config = json_of(R"({"mqtt": {"port": 1}, "ports": [
        {"name": "a", "type": "base.rs"}, {"name": "b", "type": "base.rs"}, {"name": "c", "type": "base.tcp"},
        {"name": "broken"}, {"name": "d", "type": "base.null"}]})");
    std::string const device = R"([{"name": "d", "type": "mb-rtu", "sid": 1, "rs": {"baudrate": 1200},
                                    "params": [{"name": "v", "reg_addr": 0, "value_type": "u16"}]}])";
    for (Json::ArrayIndex index : {0, 1, 2, 4}) {
        config["ports"][index]["devices"] = json_of(device);
    }
    config["ports"][0]["rs"]["path"] = folder.file("new/deep/line");
    config["ports"][1]["rs"]["path"] = used;
    config["ports"][2]["tcp"]["port"] = taken.port();
    // A folder of the kernel's is nobody's, even where nothing is there.
    Json::Value kernel = config;
    kernel["ports"][0]["rs"]["path"] = "/dev/ttyNobody7";
    EXPECT_TRUE(sim::Simulation(kernel, {}).ports()[0].is_elsewhere);
    std::string elsewhere;
    {
        sim::Simulation const simulation(config, {});
        ASSERT_EQ(simulation.ports().size(), 3U);
        EXPECT_EQ(simulation.notes().size(), 2U);
        EXPECT_TRUE(fs::is_symlink(folder.file("new/deep/line")));
        elsewhere = simulation.ports()[1].place;
        EXPECT_TRUE(fs::is_symlink(elsewhere));
        Json::Value const& copy = simulation.redirected();
        EXPECT_EQ(copy["ports"][0], config["ports"][0]);
        EXPECT_EQ(copy["ports"][1]["rs"]["path"], elsewhere);
        EXPECT_EQ(copy["ports"][2]["tcp"]["url"], "127.0.0.1");
        EXPECT_NE(copy["ports"][2]["tcp"]["port"], taken.port());
        EXPECT_EQ(copy["mqtt"], config["mqtt"]);
    }
    EXPECT_FALSE(fs::exists(folder.file("new")));
    EXPECT_FALSE(fs::exists(fs::path(elsewhere).parent_path()));
    EXPECT_TRUE(fs::is_regular_file(used));
}
