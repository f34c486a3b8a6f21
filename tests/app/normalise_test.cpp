#include "app/normalise.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/sample_config.h"

using sample::json;
using testing::IsEmpty;

namespace {

constexpr char nameless_line[] = "[3] Load : элемент без имени будет пропущен.";

struct Row {
    char const* guards;
    char const* file;
    char const* config;
};

template <size_t Count>
void expect_all(Row const (&rows)[Count]) {
    for (Row const& row : rows) {
        LogCapture const log(false);
        Json::Value const file = json(row.file);
        Normalised const result = normalise(file);
        EXPECT_EQ(result.config, json(row.config)) << row.guards << '\n' << result.config.toStyledString();
        EXPECT_FALSE(result.is_xgpio) << row.guards;
        EXPECT_THAT(log.entries(), IsEmpty()) << row.guards;
    }
}

}  // namespace

TEST(Normalise, PlainFilePassesUnchanged) {
    for (char const* text : {
             R"({})",
             R"({"ports": []})",
             R"({"ports": 5, "mqtt": 7})",
             R"({"ports": {"connection": {}}})",
             R"({"own": 1, "log": {"x": 2}, "ports": [{"name": "p", "devices": [{"name": "d", "cname": "c"}]}, 5]})",
         }) {
        EXPECT_EQ(normalise(json(text)).config, json(text)) << text;
    }
}

TEST(Normalise, RootThatIsNoObjectIsRefused) {
    for (char const* text : {"[]", R"([{"ports": []}])", "null", "5", "\"ports\"", "true"}) {
        EXPECT_THROW(normalise(json(text)), std::exception) << text;
    }
}

TEST(Normalise, ConnectionShapeBecomesPlain) {
    expect_all({
        {"port keys move up, names are exchanged, the group's channels become the parameters",
         R"({"mqtt": {"url": "h"}, "log": {"is_debug": true}, "other": 1, "ports": [
               {"connection": {"name": "line", "type": "base.rs", "rs": {"path": "/dev/x"}, "poll_interval": 5},
                "devices": [{"name": "Котёл", "cname": "boiler", "type": "mb-rtu", "sid": 5, "rto": 7}],
                "parameters": [{"cname": "boiler", "name": "group", "config": {"channels": [{"name": "t"}]}}]}]})",
         R"({"mqtt": {"url": "h"}, "log": {"is_debug": true}, "ports": [
               {"name": "line", "type": "base.rs", "rs": {"path": "/dev/x"}, "poll_interval": 5,
                "devices": [{"name": "boiler", "display_name": "Котёл", "type": "mb-rtu", "sid": 5, "rto": 7,
                             "params": [{"name": "t"}]}]}]})"},
        {"no settings come from nowhere",
         R"({"ports": [{"connection": {"name": "p", "type": "base.null"}, "devices": [{"name": "d"}],
                        "parameters": [{"cname": "x"}]}]})",
         R"({"ports": [{"name": "p", "type": "base.null", "devices": [{"name": "d"}]}]})"},
        {"what a device says behind \"cname\" in the order of its members wins",
         R"({"ports": [{"connection": {"name": "p", "type": "base.null"},
               "devices": [{"name": "D", "cname": "d", "params": [7], "display_name": "Own"}],
               "parameters": [{"cname": "d", "config": {"channels": [1]}}]}]})",
         R"({"ports": [{"name": "p", "type": "base.null",
               "devices": [{"name": "d", "display_name": "Own", "params": [7]}]}]})"},
        {"a bridge's devices keep their cname",
         R"({"ports": [{"connection": {"name": "p", "type": "base.z2t", "zigbee": {"address": "0x1"}},
               "devices": [{"name": "D", "cname": "d"}],
               "parameters": [{"cname": "d", "config": {"channels": [1]}}]}]})",
         R"({"ports": [{"name": "p", "type": "base.z2t", "zigbee": {"address": "0x1"},
               "devices": [{"name": "d", "cname": "d", "display_name": "D", "params": [1]}]}]})"},
    });
}

TEST(Normalise, EveryModbusTcpDeviceGetsAPort) {
    expect_all({
        {"two devices",
         R"({"ports": [{"connection": {"name": "net", "type": "base.tcp", "rto": 9, "tcp": {"port": 502, "url": "old"}},
               "devices": [{"name": "A", "cname": "a", "type": "mb-tcp", "sid": "10.0.0.5:7"},
                           {"name": "B", "cname": "b", "type": "mb-tcp", "sid": "10.0.0.6:9"}],
               "parameters": [{"cname": "b", "config": {"channels": [2]}}, {"cname": "a", "config": {"channels": [1]}}]}]})",
         R"({"ports": [
               {"name": "net_A_0", "type": "base.tcp", "rto": 9, "tcp": {"port": 502, "url": "10.0.0.5"},
                "devices": [{"name": "a", "display_name": "A", "type": "mb-tcp", "sid": 7, "params": [1]}]},
               {"name": "net_B_1", "type": "base.tcp", "rto": 9, "tcp": {"port": 502, "url": "10.0.0.6"},
                "devices": [{"name": "b", "display_name": "B", "type": "mb-tcp", "sid": 9, "params": [2]}]}]})"},
        {"when nothing is left, the rest passes as it is",
         R"({"log": {}, "ports": [{"connection": {"name": "net", "type": "base.tcp"}, "devices": []}]})",
         R"({"log": {}, "ports": []})"},
    });
}

TEST(Normalise, GpioSettingsAreGathered) {
    std::string const port = R"({"connection": {"type": "xgpio", "enabled": true, "wto": 100}, )";
    std::tuple<char const*, std::string, char const*, int> const rows[] = {
        {"the first device with a group", R"({"mqtt": {"url": "h"}, "ports": [)" + port + R"("devices": [
               {"type": "xgpio", "cname": "none", "name": "N"}, {"type": "xgpio", "cname": "g", "name": "G"},
               {"type": "xgpio", "cname": "h", "name": "H"}],
             "parameters": [{"cname": "h", "config": {"channels": [3]}}, {"cname": "g", "config": {"channels": [1, 2]}},
                            {"cname": "g", "config": {"channels": [4]}}]}]})",
         R"({"mqtt": {"url": "h"}, "name": "G", "wto": 100, "channels": [1, 2]})", 0},
        {"a name from the running number, which counts every device",
         R"({"ports": [)" + port + R"("devices": [{"type": "mb-rtu", "cname": "g"}, {"type": "xgpio", "cname": "g"}],
             "parameters": [{"cname": "g", "config": {"channels": [1]}}]}]})",
         R"({"mqtt": null, "name": "xgpio_1", "wto": 100, "channels": [1]})", 1},
        {"another port's, when the first has none",
         R"({"ports": [)" + port + R"("devices": [{"type": "xgpio", "cname": "g"}], "parameters": []}, )" + port +
             R"("devices": [{"type": "xgpio", "cname": "g"}], "parameters": [{"cname": "g", "config": {"channels": [1]}}]}]})",
         R"({"mqtt": null, "name": "xgpio_1", "wto": 100, "channels": [1]})", 0},
        {"a group belongs to the devices of its port",
         R"({"ports": [)" + port + R"("devices": [{"type": "xgpio", "cname": "g"}], "parameters": []}, )" + port +
             R"("devices": [], "parameters": [{"cname": "g", "config": {"channels": [1]}}]}]})",
         nullptr, 0},
        {"not enabled unless it says so",
         R"({"ports": [{"connection": {"type": "xgpio"}, "devices": [{"type": "xgpio", "cname": "g"}],
             "parameters": [{"cname": "g", "config": {"channels": [1]}}]}]})",
         nullptr, 0},
    };
    for (auto const& [guards, file, xgpio, unknown_types] : rows) {
        LogCapture const log(false);
        Normalised const result = normalise(json(file));
        EXPECT_EQ(result.is_xgpio, xgpio != nullptr) << guards;
        EXPECT_EQ(result.xgpio, xgpio != nullptr ? json(xgpio) : Json::Value()) << guards;
        EXPECT_TRUE(result.config["ports"].empty()) << guards;
        EXPECT_EQ(log.count("[3] Неизвестный тип устройства для порта XGPIO") > 0, unknown_types > 0) << guards;
    }
}

TEST(Normalise, FaultyPiecesCostALineAndThemselves) {
    std::string const good = R"({"connection": {"name": "good", "type": "base.null"}, "devices": [{"name": "d"}],
                                 "parameters": [{"cname": "x"}]})";
    char const* const good_alone = R"({"ports": [{"name": "good", "type": "base.null", "devices": [{"name": "d"}]}]})";
    std::string const no_lists =
        "[3] порт пропущен : 'connection' должен быть объектом, 'devices' и 'parameters' - списками.";
    std::tuple<char const*, std::string, char const*, std::vector<std::string>> const rows[] = {
        {"a connection that is a text",
         R"({"ports": [{"connection": "c", "devices": [{}], "parameters": [{}]}, )" + good + "]}",
         good_alone,
         {no_lists}},
        {"devices that are an object",
         R"({"ports": [{"connection": {"type": "base.null"}, "devices": {"name": "d"}, "parameters": [{}]}, )" + good +
             "]}",
         good_alone,
         {no_lists}},
        {"parameters that are a number",
         R"({"ports": [{"connection": {"type": "base.null"}, "devices": [{}], "parameters": 5}, )" + good + "]}",
         good_alone,
         {no_lists}},
        {"a device of the split that is no object",
         R"({"ports": [{"connection": {"name": "n", "type": "base.tcp", "tcp": 5},
               "devices": [{"name": "A", "cname": "a", "type": "mb-tcp", "sid": "h:1"}, 5],
               "parameters": [{"cname": "a", "config": {"channels": [1]}}]}]})",
         R"({"ports": [{"name": "n_A_0", "type": "base.tcp", "tcp": {"url": "h"},
               "devices": [{"name": "a", "display_name": "A", "type": "mb-tcp", "sid": 1, "params": [1]}]}]})",
         {nameless_line}},
        {"wrong types behind a group's name",
         R"({"ports": [{"connection": {"name": "p", "type": "base.null"},
               "devices": [{"name": "A", "cname": "a"}, {"name": "B", "cname": {}}, {"name": "C", "cname": "c"}],
               "parameters": [{"cname": "a", "config": [1]}, {"cname": {}, "config": {"channels": [2]}},
                              {"cname": "c", "config": {"channels": "text"}}]}]})",
         R"({"ports": [{"name": "p", "type": "base.null", "devices": [
               {"name": "a", "display_name": "A", "params": null}, {"name": {}, "display_name": "B", "params": [2]},
               {"name": "c", "display_name": "C", "params": "text"}]}]})",
         {}},
        {"elements that are no objects",
         R"({"ports": [5, {"connection": {"name": "p", "type": "base.null"},
               "devices": [5, null, {"name": "D", "cname": "d"}, "x"],
               "parameters": [7, {"cname": "d", "config": {"channels": [1]}}, [{"cname": "d"}]]}, null,
             {"connection": {"type": "xgpio", "enabled": true}, "devices": [5, {"type": "xgpio", "cname": "g"}],
               "parameters": [{"cname": "g"}]}]})",
         R"({"ports": [{"name": "p", "type": "base.null", "devices": [
               {"name": "d", "display_name": "D", "params": [1]}]}]})",
         std::vector<std::string>(8, nameless_line)},
        {"a plain port beside GPIO",
         R"({"mqtt": {"port": 1}, "ports": [
               {"name": "p", "type": "base.null", "devices": [{"name": "d", "cname": "c"}]},
               {"connection": {"type": "xgpio"}}]})",
         R"({"mqtt": {"port": 1}, "ports": [
               {"name": "p", "type": "base.null", "devices": [{"name": "d", "cname": "c"}]}]})",
         {}},
    };
    for (auto const& [guards, file, config, lines] : rows) {
        LogCapture const log(false);
        Normalised const result = normalise(json(file));
        EXPECT_EQ(result.config, json(config)) << guards << '\n' << result.config.toStyledString();
        EXPECT_EQ(log.entries(), lines) << guards;
    }
}
