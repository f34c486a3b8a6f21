#include <string>

#include <gtest/gtest.h>

#include "gpio/config.h"
#include "support/log_capture.h"
#include "support/sample_config.h"
#include "support/temp_folder.h"

using xgpio::config_t;

namespace {

/// A driver "g" with these elements of `channels`.
std::unique_ptr<config_t> with_channels(std::string const& channels) {
    return config_t::Load(sample::json(R"({"name": "g", "channels": [)" + channels + "]}"));
}

}  // namespace

TEST(GpioConfig, EachFaultCostsItsChannelAlone) {
    std::pair<char const*, char const*> const rows[] = {
        {"{}", "ошибка при обработке канала 'noname' : channel::ctor : пустой узел канала.. Канал будет пропущен."},
        {R"({"gpio": 5})",
         "ошибка при обработке канала 'noname' : channel::ctor : не указано имя канала (name).. Канал будет пропущен."},
        {R"({"name": "c"})",
         "ошибка при обработке канала 'c' : c : channel::ctor : не указан номер прерывания канала (gpio).. Канал будет "
         "пропущен."},
        {R"({"name": "c", "gpio": 0})", "не указан номер прерывания канала (gpio)."},
        {R"({"name": "c", "gpio": 5, "type": "gas"})", "#c : параметр 'type' имеет неверное значение : gas."},
        {R"({"name": "c", "gpio": 5, "direction": "in"})", "#c : параметр 'direction' имеет неверное значение : in."},
        {R"({"name": "c", "gpio": 5, "edge": "up"})", "#c : параметр 'edge' имеет неверное значение : up."},
        {R"({"name": "c", "gpio": 5, "edge": ""})", "#c : параметр 'edge' имеет неверное значение : ."},
        {R"({"name": "c", "gpio": "five"})",
         "ошибка при обработке канала 'c' : c : недопустимое значение ключа 'gpio'"},
        {R"({"name": [], "gpio": 5})", "ошибка при обработке канала 'noname' : ? : недопустимое значение ключа 'name'"},
        {R"({"name": "c", "gpio": 5, "scale": {}})", "недопустимое значение ключа 'scale'"},
        {"7", "не указано имя канала (name)."},
        {R"({"name": "good", "gpio": 6})", "канал с именем 'good' уже зарегистрирован. Канал будет пропущен."},
        {R"({"name": "c", "gpio": 1})", "канал с номером '1' уже зарегистрирован. Канал будет пропущен."},
    };
    for (auto const& [channel, told] : rows) {
        LogCapture log;
        auto const config = with_channels(std::string(R"({"name": "good", "gpio": 1}, )") + channel +
                                          R"(, {"name": "last", "gpio": 2})");
        ASSERT_TRUE(config) << channel;
        ASSERT_EQ(config->channels.size(), 2U) << channel;
        EXPECT_EQ(config->channels[0]->name + config->channels[1]->name, "goodlast") << channel;
        EXPECT_EQ(log.count(told), 1) << channel;
        EXPECT_EQ(log.count("[3] [g] "), 1) << channel;
    }
    // A faulty channel keeps its name and its number.
    LogCapture log;
    EXPECT_TRUE(with_channels(R"({"name": "a", "gpio": 5, "edge": "up"}, {"name": "a", "gpio": 6},
                                 {"name": "b", "gpio": 5})")
                    ->channels.empty());
    EXPECT_TRUE(log.has("канал с именем 'a'") && log.has("канал с номером '5'"));
}

TEST(GpioConfig, KeysAndDefaults) {
    auto const config = config_t::Load(sample::json(R"({"name": "g", "mqtt": {"url": "10.0.0.1", "port": null},
        "wto": null, "channels": [{"name": "plain", "gpio": 1, "type": "", "direction": null},
            {"name": "full", "gpio": 2, "type": "water", "enabled": false, "inverted": true, "direction": "output",
             "edge": "both", "debounce": 20, "poll_interval": 3}, {"name": "el", "gpio": 3, "type": "electro", "edge": "rising"},
            {"name": "falling", "gpio": 4, "edge": "falling"}]})"));
    ASSERT_TRUE(config);
    EXPECT_EQ(config->url, "10.0.0.1");
    EXPECT_EQ(config->port, 1883);
    EXPECT_EQ(config->wto, 500);
    xgpio::channel_t const& plain = *config->channels.at(0);
    EXPECT_EQ(plain.type, 0);
    EXPECT_EQ(plain.direction, 1);
    EXPECT_EQ(plain.edge, "none");
    EXPECT_TRUE(plain.enabled && !plain.inverted && plain.debounce == 0 && plain.scale == 1.0F);
    xgpio::channel_t const& full = *config->channels.at(1);
    EXPECT_EQ(full.type, 2);
    EXPECT_EQ(full.direction, 2);
    EXPECT_TRUE(!full.enabled && full.inverted && full.edge == "both" && full.debounce == 20);
    EXPECT_EQ(config->channels.at(2)->type, 1);
    EXPECT_EQ(config->channels.at(2)->edge + config->channels.at(3)->edge, "risingfalling");

    for (auto const& [scale, precision] :
         {std::pair{"1", 2}, {"2.5", 2}, {"0.5", 2}, {"0.01", 3}, {"0.001", 4}, {"0", 1}, {"-0.25", 3}, {"null", 2}}) {
        auto const scaled = with_channels(std::string(R"({"name": "c", "gpio": 1, "scale": )") + scale + "}");
        EXPECT_EQ(scaled->channels.at(0)->precision, precision) << scale;
    }
}

TEST(GpioConfig, WhatStopsTheDriver) {
    std::pair<char const*, char const*> const rows[] = {
        {"{}", "config : пустой файл конфигурации."},
        {R"({"channels": [{"name": "c", "gpio": 1}]})", "config : не указано имя драйвера."},
        {R"({"name": "g"})", "config : в конфигурационно0м файле не задано ни одного канала."},
        {R"({"name": "g", "channels": []})", "config : в конфигурационно0м файле не задано ни одного канала."},
        {R"({"name": "g", "channels": {"a": 1}})", "config : в конфигурационно0м файле не задано ни одного канала."},
        {R"({"name": "g", "wto": "soon", "channels": [{"name": "c", "gpio": 1}]})",
         "g : недопустимое значение ключа 'wto'"},
    };
    for (auto const& [block, told] : rows) {
        LogCapture log;
        EXPECT_FALSE(config_t::Load(sample::json(block))) << block;
        EXPECT_EQ(log.count(std::string("ошибка при парсинге конфигурационного файла : ") + told), 1) << block;
    }
    LogCapture log;
    auto const config =
        config_t::Load(sample::json(R"({"name": "g", "wto": 0, "channels": [{"name": "c", "gpio": 1}]})"));
    ASSERT_TRUE(config);
    EXPECT_EQ(config->wto, 500);
    EXPECT_TRUE(log.has("[3] [g] wto = 0 : недопустимое значение, принято 500."));

    EXPECT_THROW(config_t::Load(std::string()), std::exception);
    TempFolder const folder;
    EXPECT_THROW(config_t::Load(folder.write("empty.json", "{}")), std::exception);
    EXPECT_TRUE(config_t::Load(folder.write("c.json", R"({"name": "g", "channels": [{"name": "c", "gpio": 1}]})")));
}
