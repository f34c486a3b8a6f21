// Faulty files: a clear line in the log, and nothing lost but what is faulty.

#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"

using std::chrono::seconds;

TEST(BadConfig, WhatIsNoConfigurationEndsWithItsReason) {
    struct Row {
        std::string content;
        char const* reason;
    };
    Row const rows[] = {
        {"", "файл пуст или не читается"},
        {"this is no JSON", "ошибка разбора JSON : * Line 1, Column 1"},
        {R"({"ports": [)", "ошибка разбора JSON"},
        {R"({"ports": []} and more)", "ошибка разбора JSON"},
        {std::string(100000, '['), "ошибка разбора JSON"},
        {"[1, 2]", "корень файла конфигурации не является объектом."},
        {"\"text\"", "корень файла конфигурации не является объектом."},
        {"null", "корень файла конфигурации не является объектом."},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.content.substr(0, 40));
        Daemon daemon;
        std::string const path = daemon.folder().write("bad.json", row.content);
        daemon.start({"-c", path});
        EXPECT_EQ(daemon.wait_exit(seconds(10)), 1);
        EXPECT_EQ(daemon.log().count(row.reason), 1) << daemon.log().text();
        EXPECT_EQ(daemon.log().matching(row.reason).at(0).level, 3);
    }
}

TEST(BadConfig, SmallerFaultsCostOnlyThemselves) {
    Broker broker;
    Json::Value config = sample::root(broker.port());
    // Everything around the one good parameter "d_17/a" of the port "good" is faulty in its own way.
    config["ports"] = sample::json(R"([
        17, "text", null, [1], {}, {"name": ""}, {"name": "no_type"}, {"name": ["x"], "type": "base.null"},
        {"name": "unknown", "type": "base.what"},
        {"name": "no_devices", "type": "base.null"},
        {"name": "devices_text", "type": "base.null", "devices": "many"},
        {"name": "no_line", "type": "base.rs", "devices": [{"name": "x", "type": "mb-rtu", "sid": 1}]},
        {"name": "bad_rs", "type": "base.rs", "rs": {"path": "/dev/null", "parity": "maybe"}},
        {"name": "bad_rate", "type": "base.rs", "rs": {"path": "/dev/null", "baudrate": -1}},
        {"name": "bad_interval", "type": "base.null", "poll_interval": "often"},
        {"name": "bad_tcp", "type": "base.tcp", "tcp": "127.0.0.1"},
        {"name": "good", "type": "base.null", "poll_interval": 1, "devices": [
            3, {"name": "no_sid", "type": "mb-rtu", "params": [{"name": "a", "reg_addr": 1}]},
            {"name": "no_params", "type": "mb-rtu", "sid": 2},
            {"name": "all_bad", "type": "mb-rtu", "sid": 3, "params": [1, {"name": "x"}]},
            {"name": "d", "type": "mb-rtu", "sid": 17, "templ": "missing", "params": [
                "b", {"name": {}, "reg_addr": 1}, {"name": "no_addr"},
                {"name": "word", "reg_addr": 1, "value_type": "float"},
                {"name": "order", "reg_addr": 1, "word_order": ""},
                {"name": "bits", "reg_addr": 1, "reg_type": "holding-bit", "bh_list": [{"name": "b", "offset": 16}]},
                {"name": "scale", "reg_addr": 1, "scale": {"by": 10}},
                {"name": "other", "type": "what", "reg_addr": 1},
                {"name": "a", "reg_addr": 1, "value_type": "u16"}]}]}
    ])");
    Daemon daemon;
    daemon.start_with(config);
    MqttProbe probe(broker.port());
    ASSERT_TRUE(probe.wait_for(sample::value_topic("d_17", "a"), "5", seconds(15))) << daemon.log().text();

    char const* const lines[] = {
        "[3] [Config::Load] Load : %s : элемент без типа будет пропущен.",
        "Load : unknown : тип элемента не найден : base.what.cport. Элемент будет пропущен.",
        "#no_devices : список устройств пуст.",
        "[devices_text] Load : devices : не является списком.",
        "#no_line : ctor : невалидные настройки rs-порта.",
        "#bad_rs : ctor : невалидные настройки rs-порта.",
        "#bad_rate : ctor : невалидные настройки rs-порта.",
        "bad_interval : недопустимое значение ключа 'poll_interval'",
        "исключение при парсинге элемента : tcp_set : конфиг не содержит настроек TCP/MQTT",
        "#no_sid : ctor : не указан аргумент 'sid'.",
        "#no_params_2 : ctor : устройство не содержит ни одного параметра.",
        "#all_bad_3 : ctor : устройство не содержит ни одного параметра.",
        "ошибка при обработке шаблона 'missing'.",
        "no_addr : не указан атрибут 'reg_addr'.",
        "word : неопознанный value_type = float.",
        "order : неопознанный word_order = .",
        "bitem.ctor : параметр 'offset' превышает максимальное значение : 15",
        "scale : недопустимое значение ключа 'scale'",
        "Load : other : тип элемента не найден : what.cparam. Элемент будет пропущен.",
    };
    for (char const* line : lines) {
        EXPECT_EQ(daemon.log().count(line), 1) << line;
    }
    EXPECT_EQ(daemon.log().count("[3] [Config::Load] Load : элемент без имени будет пропущен."), 6);
    EXPECT_EQ(daemon.log().count("порт запущен"), 1);
    EXPECT_TRUE(daemon.running());
}

TEST(BadConfig, NothingUsableStandsBy) {
    struct Row {
        char const* config;
        std::vector<char const*> lines;
    };
    Row const rows[] = {
        {"{}", {"[Config::Load] Load : узел пуст.", "нет ни одного запущенного порта."}},
        {R"({"ports": []})", {"[Config::Load] Load : список пуст.", "нет ни одного запущенного порта."}},
        {R"({"log": {"max_size": "five"}, "ports": []})",
         {"[ostrand::Config] exception : ? : недопустимое значение ключа 'max_size'",
          "Ошибка чтения/парсинга файла конфигурации."}},
        {R"({"mqtt": {}, "ports": []})",
         {"[ostrand::Config] exception : tcp_set : конфиг не содержит настроек TCP/MQTT",
          "Ошибка чтения/парсинга файла конфигурации."}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.config);
        Daemon daemon;
        daemon.start({"-c", daemon.folder().write("idle.json", row.config)});
        for (char const* line : row.lines) {
            EXPECT_TRUE(daemon.log().wait_for(line, seconds(10))) << daemon.log().text();
        }
        EXPECT_TRUE(daemon.running());
    }
}

TEST(BadConfig, TenThousandParametersRun) {
    constexpr int number = 10000;
    Broker broker;
    Json::Value config = sample::root(broker.port());
    config["log"]["is_debug"] = false;
    Json::Value device = sample::json(R"({"name": "d", "type": "mb-rtu", "sid": 17, "poll_interval": 3600})");
    for (int index = 0; index < number; ++index) {
        Json::Value param = sample::json(R"({"reg_addr": 1, "value_type": "u16"})");
        param["name"] = "p" + std::to_string(index);
        device["params"].append(param);
    }
    Json::Value port = sample::json(R"({"name": "p", "type": "base.null"})");
    port["devices"].append(device);
    config["ports"].append(port);
    MqttProbe probe(broker.port(), "stat/#");
    Daemon daemon;
    daemon.start_with(config);
    EXPECT_TRUE(probe.wait_for(
        "stat/p/poll", "Статистика p : опросов = 10000 : ошибок = 0 [ 0.00 ] : вне диапазона = 0.", seconds(60)))
        << probe.text();
    MqttProbe retained(broker.port(), "/devices/d_17/controls/+");
    EXPECT_TRUE(wait_until([&retained] { return retained.mark() == static_cast<size_t>(number); }, seconds(30)))
        << retained.mark();
}
