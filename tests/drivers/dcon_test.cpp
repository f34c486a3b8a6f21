// The DCON driver without a line: configuration, the frame of each command, what becomes of each answer, the cycle.

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/constants.h"
#include "config/process.h"
#include "ctl/line/hex.h"
#include "drivers/dcon/device.h"
#include "drivers/dcon/pdu.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"
#include "support/sample_config.h"

using dcon::c_dev;
using dcon::c_param;
using dcon::pdu;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

using std::string_literals::operator""s;

/// A frame as text, with its closing carriage return.
std::string wire(std::string const& text) {
    std::string const whole = text + "\r";
    return hex::text(hex::Bytes(whole.begin(), whole.end()));
}

std::string param(std::string const& keys, std::string const& name = "v") {
    return R"({"name": ")" + name + R"(", "type": "dcon", "bh_list": [{"name": "b", "offset": 0}], )" + keys + "}";
}

constexpr char channel_a[] = R"("cmd": 9, "channel": "a")";

class Module : public DriverRig {
 public:
    explicit Module(std::string const& params, std::string const& device_keys = "", std::string const& port_keys = "")
        : DriverRig(R"({"name": "io", "type": "dcon", "sid": 1)" + device_keys + R"(, "params": [)" + params + "]}",
                    port_keys) {}

    dcon::dev& device() { return dev<dcon::dev>(); }
    /// One pass in which everything is due, and everything is answered alike.
    std::vector<std::string> poll(std::string const& reply_hex) {
        line().script.otherwise(::Reply{.hex = reply_hex});
        device().Poll(now += 100000);
        return published();
    }
    /// False when the message isn't this device's.
    bool write(std::string const& value, std::string topic = "/devices/io_1/controls/v/on") {
        std::string payload = value;
        return device().ProcMessage(topic, payload);
    }

    long long now = 0;
};

}  // namespace

TEST(DconConfig, WhatIsRefused) {
    constexpr char channel[] = "v : для команды 15 должен быть указан номер канала из одного символа от 0 до F.";
    constexpr char command[] = "v : неверное значение атрибута 'cmd'. Допустимые значения : 1, 9, 10, 13, 15 и 21.";
    constexpr char bits[] = "v : для команд 13 и 21 должен быть указан массив 'bh_list'.";
    char const* const rows[][2] = {
        {R"("type": "dcon")", "v : не указан атрибут 'cmd'."},
        {R"("type": "dcon", "cmd": 14)", command},
        {R"("type": "dcon", "cmd": 22)", command},
        {R"("type": "dcon", "cmd": 9)", channel},
        {R"("type": "dcon", "cmd": 9, "channel": "AB")", channel},
        {R"("type": "dcon", "cmd": 13)", bits},
        {R"("type": "dcon", "cmd": 21)", bits},
        {R"("type": "dcon", "cmd": 21, "value_type": "u32", "bh_list": [{"name": "b", "offset": 16}])",
         "bitem.ctor : параметр 'offset' превышает максимальное значение : 15"},
        {R"("cmd": 10)", "v : не указан атрибут 'reg_addr'."},
    };
    for (auto const& [keys, reason] : rows) {
        LogCapture const log(false);
        EXPECT_THROW(Module(R"({"name": "v", )" + std::string(keys) + "}"), std::exception);
        EXPECT_EQ(log.count(".cparam : nnm : исключение при парсинге элемента : "s + reason), 1) << reason;
        EXPECT_EQ(log.count("#io_1 : ctor : устройство не содержит ни одного параметра."), 1);
    }
    LogCapture const log(false);
    DriverRig modbus(R"({"name": "m", "type": "mb-rtu", "sid": 2, "params": [{"name": "r", "reg_addr": 1},
                        {"name": "v", "type": "dcon", "cmd": 10}]})");
    EXPECT_EQ(log.count("v : не указана ссылка на параметры устройства."), 1);
    EXPECT_THROW(DriverRig(R"({"name": "d", "type": "dcon", "params": []})"), std::exception);
    EXPECT_EQ(log.count("#d : ctor : не указан аргумент 'sid'."), 1);
    Json::Value node = sample::json(R"({"name": "d", "sid": 1, "params": [)" + param(channel_a) + "]}");
    EXPECT_THAT([&node] { c_dev(nullptr, node); },
                testing::ThrowsMessage<std::exception>("#d : ctor : не указан порт."));
}

TEST(DconConfig, TemplatesNeedNoTypeAndOverlaysAreNotChecked) {
    LogCapture const log;
    std::filesystem::create_directories(path_templates);
    std::string const file = path_templates + "/dcon-test.json";
    std::ofstream(file) << R"({"name": "dcon-test", "params": [{"name": "a", "cmd": 9, "channel": "a"},
        {"name": "s", "cmd": 13, "value_type": "u32", "bh_list": [{"name": "b", "offset": 15}]},
        {"name": "c", "cmd": 15, "read_only": true}, {"name": "w", "cmd": 1}]})";
    Module module(R"({"name": "a", "cmd": 7, "channel": "bcd"}, {"name": "s", "poll_interval": 7})",
                  R"(, "templ": "dcon-test")");
    std::filesystem::remove(file);
    EXPECT_EQ(log.count("[4] [io_1] загрузка шаблона : dcon-test."), 1);
    ASSERT_EQ(module.device().cfg->children.size(), 4U);
    auto const& a = module.param<c_param>(0);
    EXPECT_EQ(a.cmd, 7);
    EXPECT_EQ(a.channel, "bcd");
    EXPECT_EQ(module.param<c_param>(1).value_type, vt_u16);
    EXPECT_EQ(module.param<c_param>(1).poll_interval, 7);
    EXPECT_FALSE(module.param<c_param>(2).read_only);
    EXPECT_FALSE(module.param<c_param>(3).read_only);
    EXPECT_EQ(pdu::get_resp_size(&a), -1);
    Json::Value empty;
    module.param<c_param>(0).Compare(empty);
    EXPECT_EQ(a.cmd, 7);
}

TEST(DconPdu, FramesOfTheReadCommands) {
    struct Row {
        char const* device;
        std::string keys;
        std::string frame;
    };
    Row const rows[] = {
        {"", channel_a, "23 30 31 41 43 35 0D"},
        {R"(, "crc_enabled": false)", channel_a, "23 30 31 41 0D"},
        {"", R"("cmd": 10, "channel": "zz")", wire("$012B7")},
        {"", R"("cmd": 13)", wire("$016BB")},
        {"", R"("cmd": 21)", wire("@01A1")},
        {R"(, "sid": "0x2F")", channel_a, wire("#2FADC")},
        {R"(, "sid": 256)", channel_a, wire("#100AF5")},
    };
    for (Row const& row : rows) {
        Module module(param(row.keys), row.device);
        module.poll("");
        EXPECT_THAT(module.line().sent, ElementsAre(row.frame)) << row.keys;
    }
}

TEST(DconDevice, OneReadExchange) {
    struct Row {
        char const* guards;
        std::string keys;
        std::string reply;
        char const* value;  // null: a failure
        char const* line = nullptr;
        char const* device = "";
    };
    constexpr char no_crc[] = R"(, "crc_enabled": false)";
    std::string const state = R"("cmd": 13)";
    std::string const inputs = R"("cmd": 21)";
    Row const rows[] = {
        {"a channel", channel_a, wire(">01+1.238E"), "+1.23"},
        {"its lead isn't looked at", channel_a, wire("!01+1.2371"), "+1.23"},
        {"the closing byte neither", channel_a, wire(">01+1.238E").substr(0, 30) + "41", "+1.23"},
        {"a zero ends the text", channel_a, wire(">01+1\0"s + "2360"), "+1"},
        {"a text of zeros", channel_a, wire(">01" + std::string(5, '\0') + "9F"), ""},
        {"four of six digits", state, wire("!00FF1270"), "255"},
        {"lower-case digits of a value", state, wire("!00ff12B0"), "255"},
        {"all set", inputs, wire(">ffffD6"), "65535"},
        {"the highest alone", inputs, wire(">800006"), "32768"},
        {"no number", state, wire("!00G0125B"), nullptr,
         "исключение при опросе : состояние не является шестнадцатеричным числом : 00G0"},
        {"no number in front", state, wire("!  FF1250"), nullptr,
         "исключение при опросе : состояние не является шестнадцатеричным числом :   FF"},
        {"digits ahead of a zero", inputs, wire(">12\0"s + "3D4"), "18"},
        {"without checksums", channel_a, wire(">01+1.23"), "+1.23", nullptr, no_crc},
        {"a state without them", state, wire("!00FF12"), "255", nullptr, no_crc},
        {"nothing but zeros", inputs, wire(">" + std::string(4, '\0')), nullptr,
         "исключение при опросе : состояние не является шестнадцатеричным числом : ", no_crc},
        {"a wrong checksum", channel_a, wire(">01+1.238F"), nullptr, "не совпали CRC : 8F != 8E."},
        {"another address", channel_a, wire(">02+1.238F"), nullptr, "не совпали slave_id."},
        {"refused", channel_a, wire("?01A0"), nullptr, "неверная команда."},
        {"a state refused", inputs, wire("?01A0"), nullptr, "неверная команда."},
        {"a refusal cut", channel_a, "3F", nullptr, "неверная команда."},
        {"an address that can't be", channel_a, wire(">100+1.23BE"), nullptr, "не совпали slave_id.",
         R"(, "sid": 256)"},
        {"no command any more", channel_a + R"(}, {"name": "v", "cmd": 7)"s, "", nullptr,
         "не удалось отправить запрос : write != size."},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.guards);
        LogCapture const log(false);
        Module module(param(row.keys), row.device);
        // What a good state publishes goes past the rig, so the result itself is looked at.
        std::vector<std::string> const published = module.poll(row.reply);
        EXPECT_EQ(module.port().polls, 1);
        EXPECT_EQ(module.port().errors, row.value != nullptr ? 0 : 1);
        bool const raised = row.line != nullptr && std::string_view(row.line).starts_with("исключение");
        std::vector<std::string> expected = {"[1] [v] начало опроса."};
        if (row.line != nullptr) {
            expected.push_back("[3] [v] "s + row.line);
        }
        EXPECT_EQ(log.entries(), expected);
        if (row.value == nullptr) {
            EXPECT_EQ(published, raised ? std::vector<std::string>() : std::vector<std::string>{"v!"});
            continue;
        }
        BaseResult const result = module.device().get_response(&module.param<c_param>());
        EXPECT_TRUE(result.is_ok && result.is_crc_ok);
        EXPECT_EQ(result.result, row.value);
        bool const has_bits = module.param<c_param>().is_state();
        EXPECT_EQ(published, has_bits ? std::vector<std::string>() : std::vector<std::string>{"v="s + row.value});
    }
}

TEST(DconDevice, AReplyCutAnywhereGivesNoValue) {
    char const* const rows[][2] = {
        {channel_a, ">01+1.238E"}, {R"("cmd": 13)", "!00FF1270"}, {R"("cmd": 21)", ">00FF2A"}};
    for (auto const& [keys, reply] : rows) {
        Module module(param(keys));
        hex::Bytes const whole = hex::bytes(wire(reply));
        for (size_t length = 0; length < whole.size(); ++length) {
            LogCapture const log(false);
            EXPECT_THAT(module.poll(hex::text(std::span(whole).first(length))), ElementsAre("v!")) << reply << length;
            EXPECT_EQ(log.entries().back(), "[3] [v] ответ НЕ получен : timeout.");
        }
    }
    LogCapture const log(false);
    Module module(param(channel_a) + "," + param(R"("cmd": 15)", "c"));
    module.poll(wire("?01A0"));
    EXPECT_THAT(module.poll(wire(">01+1.238E")), ElementsAre("v=+1.23")) << "the rest of the refusal is dropped";
    EXPECT_THAT(module.line().timeouts, Contains("500 500").Times(2));
    module.poll(wire("?01A0"));
    module.line().script.otherwise(::Reply{.hex = wire("!0182")});
    EXPECT_TRUE(module.write("3", "/devices/io_1/controls/c/on"));
    EXPECT_TRUE(log.has("[1] [c] операция успешно выполнена.")) << "ahead of a write, too";
    module.line().writes_fail = true;
    EXPECT_THAT(module.poll(""), ElementsAre("v!"));
    EXPECT_TRUE(log.has("[3] [v] не удалось отправить запрос : write != size."));
}

TEST(DconDevice, Writes) {
    constexpr char done[] = "[1] [v] операция успешно выполнена.";
    constexpr char timeout[] = "[3] [v] операция НЕ выполнена : timeout.";
    struct Row {
        char const* guards;
        std::string keys;
        char const* value;
        std::string frame;  // empty: nothing goes out
        std::string reply;
        char const* line;  // null: none
        char const* device = "";
    };
    std::string const configure = R"("cmd": 1)";
    std::string const clear = R"("cmd": 15)";
    Row const rows[] = {
        {"the old one doesn't", configure, "02400680", wire("%01024006801A"), wire("!0182"),
         "[3] [v] не совпали slave_id."},
        {"as it was written", configure, "0a400680", wire("%010a40068049"), wire("!0A92"),
         "[3] [v] не совпали slave_id."},
        {"seven characters", configure, "0240068", "", "",
         "[3] [v] команда установки конфигурации должна содержать 8 символов."},
        {"no counter", clear, "", "", "", "[3] [v] команда очистки счетчика должна содержать 1 символ."},
        {"without checksums", clear, "3", wire("$01C3"), wire("!01"), done, R"(, "crc_enabled": false)"},
        {"a wrong checksum", clear, "3", wire("$01C3FB"), wire("!0183"), "[3] [v] не совпали CRC : 83 != 82."},
        {"a byte missing", clear, "3", wire("$01C3FB"), "21 30 31 38 32", timeout},
        {"no write command", R"("cmd": 10, "read_only": false)", "3", "", "", nullptr},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.guards);
        LogCapture const log(false);
        Module module(param(row.keys), row.device);
        module.line().script.otherwise(::Reply{.hex = row.reply});
        EXPECT_TRUE(module.write(row.value));
        std::vector<std::string> expected = {"[1] [v] запись нового значения : "s + row.value + "."};
        if (row.line != nullptr) {
            expected.emplace_back(row.line);
        }
        EXPECT_EQ(log.entries(), expected);
        EXPECT_EQ(module.line().sent, row.frame.empty() ? std::vector<std::string>() : std::vector{row.frame});
        EXPECT_THAT(module.line().timeouts, Not(Contains("500 500"))) << "those of the line are in force";
    }
}

TEST(DconDevice, AClosedLineIsOpenedWhereDevicesDoSo) {
    Module module(param(channel_a), "", R"(, "poll_reconnect": true)");
    module.line().close();
    EXPECT_THAT(module.poll(wire(">01+1.238E")), ElementsAre("v=+1.23"));
    Module other(param(channel_a));
    other.line().close();
    other.port().line_released = true;
    EXPECT_THAT(other.poll(wire(">01+1.238E")), ElementsAre("v=+1.23"));
    EXPECT_FALSE(other.port().line_released);
    struct Row {
        char const* device;
        char const* port;
        bool opens;
    };
    for (Row const& row : {Row{R"(, "poll_reconnect": true)", "", false}, {"", R"(, "poll_reconnect": true)", true}}) {
        Module written(param(R"("cmd": 15)"), row.device, row.port);
        written.write("3");
        EXPECT_TRUE(written.line().is_open()) << row.device;
        written.line().close();
        written.device().Poll(1000);
        EXPECT_FALSE(written.line().is_open()) << "nothing is due";
        written.write("3");
        EXPECT_EQ(written.line().is_open(), row.opens) << row.device;
        EXPECT_EQ(written.line().sent.size(), row.opens ? 2U : 1U) << row.device;
    }
}

TEST(DconDevice, ExceptionsCountWhereTheyAreCaught) {
    class Raising : public dcon::dev {
     public:
        using dcon::dev::dev;
        bool poll_param(CParam* /*param*/) override { throw std::runtime_error("why"); }
    };
    LogCapture const log(false);
    Module module(param(channel_a));
    Raising raising(&module.port(), module.device().cfg);
    raising.Poll(1000);
    EXPECT_TRUE(log.has("[3] [v] Poll : исключение при опросе параметра : why."));
    EXPECT_EQ(module.port().errors, 1);
    EXPECT_FALSE(raising.fault) << "the device itself has no error";
    module.line().writes_raise = true;
    EXPECT_THAT(module.poll(""), IsEmpty());
    EXPECT_TRUE(log.has("[3] [v] исключение при опросе : no line"));
    EXPECT_TRUE(module.device().fault);
    EXPECT_FALSE(module.device().poll_param(nullptr));
    EXPECT_FALSE(module.device().get_response(nullptr).is_ok);
    module.device().write(nullptr, "3");
}

TEST(DconDevice, TracesShowTheTextOfTheFrames) {
    LogCapture const log;
    Module module(param(channel_a) + "," + param(R"("cmd": 15)", "c"));
    module.poll(wire(">01+1.238E"));
    EXPECT_FALSE(log.has("запрос : ") || log.has("ответ : "));
    PH::IsPrintHex = true;
    module.poll(wire(">01+1.238E"));
    module.line().script.otherwise(::Reply{.hex = wire("!0182")});
    module.write("3", "/devices/io_1/controls/c/on");
    PH::IsPrintHex = false;
    for (char const* line :
         {"[v] запрос : #01AC5", "[v] заголовок ответа : >01", "[v] ответ : +1.238E", "[v] получено значение : +1.23.",
          "[c] write : запрос : $01C3FB", "[c] write : ответ : !0182"}) {
        EXPECT_THAT(log.entries(), Contains("[4] "s + line));
    }
}
