#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>

#include "config/constants.h"
#include "drivers/mbrtu/config.h"
#include "support/log_capture.h"

using mbrtu::c_dev;
using mbrtu::c_param;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

Json::Value json(std::string const& text) {
    Json::Value value;
    std::istringstream("[" + text + "]") >> value;
    return value[0];
}

c_param made(std::string const& keys) {
    Json::Value node = json(R"({"name": "u", "reg_addr": 1)" + (keys.empty() ? "" : ", " + keys) + "}");
    return {nullptr, node};
}

template <typename Call>
std::string failure(Call call) {
    try {
        call();
    } catch (std::exception const& e) {
        return e.what();
    }
    return "taken";
}

class ModbusNodes : public testing::Test {
 protected:
    CBase port_{"port"};
};

constexpr char bit_list[] = R"("bh_list": [{"name": "a", "offset": 0}, {"name": "b", "offset": 1}])";

}  // namespace

TEST_F(ModbusNodes, DeviceNameEndsInTheWholeSlaveAddress) {
    struct Row {
        char const* sid;
        char const* name;
    };
    Row const rows[] = {{"5", "boiler_5"},        {"\"16\"", "boiler_16"}, {"\"0x10\"", "boiler_16"},
                        {"261", "boiler_261"},    {"65537", "boiler_1"},   {"0", "boiler_0"},
                        {"\"none\"", "boiler_0"}, {"-1", "boiler_65535"}};
    for (Row const& row : rows) {
        Json::Value node = json(R"({"name": "boiler", "params": [{"name": "t", "reg_addr": 1}], "sid": )" +
                                std::string(row.sid) + "}");
        EXPECT_EQ(c_dev(&port_, node).name, row.name) << row.sid;
    }
}

TEST_F(ModbusNodes, DeviceThatCannotWorkIsRefused) {
    struct Row {
        char const* keys;
        char const* reason;
    };
    Row const rows[] = {
        {R"("params": [{"name": "t", "reg_addr": 1}])", "#d : ctor : не указан аргумент 'sid'."},
        {R"("sid": null, "params": [{"name": "t", "reg_addr": 1}])", "#d : ctor : не указан аргумент 'sid'."},
        {R"("sid": 5)", "#d_5 : ctor : устройство не содержит ни одного параметра."},
        {R"("sid": 5, "params": [{"name": "t"}])", "#d_5 : ctor : устройство не содержит ни одного параметра."},
    };
    for (Row const& row : rows) {
        Json::Value node = json(R"({"name": "d", )" + std::string(row.keys) + "}");
        EXPECT_EQ(failure([&] { c_dev(&port_, node); }), row.reason);
    }
    Json::Value node = json(R"({"name": "d", "sid": 5, "params": [{"name": "t", "reg_addr": 1}]})");
    EXPECT_EQ(failure([&] { c_dev(nullptr, node); }), "#d : ctor : не указан порт.");
}

TEST_F(ModbusNodes, ParametersAreOfTheDriversClassAndTakeTheDelay) {
    Json::Value node = json(R"({"name": "d", "type": "mb-rtu", "sid": 5, "poll_delay": 70000, "params": [
        {"name": "a", "reg_addr": 1}, {"name": "b", "reg_addr": "0x10", "poll_delay": 7},
        {"name": "c", "reg_addr": 70000, "poll_delay": 65537}, {"name": "m", "reg_addr": 1, "poll_delay": -65000}]})");
    LogCapture const log(false);
    c_dev const device(&port_, node);
    ASSERT_EQ(device.children.size(), 4U);
    struct Row {
        int reg_addr;
        int poll_delay;
    };
    Row const rows[] = {{1, 4464}, {16, 7}, {4464, 1}, {1, 0}};  // cut to 16 bits
    for (size_t index = 0; index < 4; ++index) {
        auto const& param = dynamic_cast<c_param const&>(*device.children[index]);
        EXPECT_EQ(param.reg_addr, rows[index].reg_addr) << param.name;
        EXPECT_EQ(param.poll_delay, rows[index].poll_delay) << param.name;
    }
    node["poll_delay"] = -1;
    c_dev const hasty(&port_, node);
    EXPECT_EQ(dynamic_cast<c_param const&>(*hasty.children[0]).poll_delay, 0);
    std::string const line = "[3] [m] poll_delay = -65000 : недопустимое значение, принято 0.";
    EXPECT_THAT(log.entries(),
                ElementsAre(line, "[3] [d_5] poll_delay = -1 : недопустимое значение, принято 0.", line));
}

TEST_F(ModbusNodes, TemplateOfADevice) {
    LogCapture const log;
    std::filesystem::create_directories(path_templates);
    std::string const path = path_templates + "/modbus-config-test.json";
    std::ofstream(path) << R"({"name": "modbus-config-test", "params": [
        {"name": "t", "reg_addr": 10, "reg_type": "input", "value_type": "i16", "scale": 0.1}]})";
    Json::Value node = json(R"({"name": "d", "sid": 5, "templ": "modbus-config-test", "params": [
        {"name": "t", "reg_addr": 20}]})");
    c_dev const device(&port_, node);
    std::filesystem::remove(path);
    ASSERT_EQ(device.children.size(), 1U);
    auto const& param = dynamic_cast<c_param const&>(*device.children[0]);
    EXPECT_EQ(param.reg_addr, 20);
    EXPECT_EQ(param.reg_type, modbus::reg_input);
    EXPECT_EQ(param.value_type, vt_i16);
    EXPECT_TRUE(log.has("[4] [d_5] загрузка шаблона : modbus-config-test."));
}

TEST(ModbusParameter, RegisterKinds) {
    struct Row {
        char const* keys;
        int kind;
        size_t bits;
    };
    std::string const input_bit = std::string(R"("reg_type": "input-bit", )") + bit_list;
    std::string const holding_bit = std::string(R"("reg_type": "holding-bit", )") + bit_list;
    std::string const no_bits = std::string(R"("reg_type": "input", )") + bit_list;
    Row const rows[] = {
        {R"("reg_type": "coil")", 0, 0},    {R"("reg_type": "status")", 1, 0},
        {R"("reg_type": "holding")", 2, 0}, {R"("reg_type": "holding-m")", 3, 0},
        {holding_bit.c_str(), 4, 2},        {R"("reg_type": "input")", 5, 0},
        {input_bit.c_str(), 6, 2},          {no_bits.c_str(), 5, 0},
        {R"("reg_type": "")", 2, 0},        {R"("reg_type": "Coil")", 2, 0},
        {R"("reg_type": "inputs")", 2, 0},  {"", 2, 0},
    };
    LogCapture const log(false);
    for (Row const& row : rows) {
        c_param const param = made(row.keys);
        EXPECT_EQ(param.reg_type, row.kind) << row.keys;
        EXPECT_EQ(param.bits ? param.bits->items.size() : 0U, row.bits) << row.keys;
    }
    EXPECT_THAT(log.entries(), IsEmpty());  // a misspelt kind is no fault

    Json::Value node = json(R"({"name": "u"})");
    EXPECT_EQ(failure([&] { c_param(nullptr, node); }), "u : не указан атрибут 'reg_addr'.");
    EXPECT_THAT(failure([] { made(R"("reg_type": "holding-bit")"); }), HasSubstr("bh_list"));
}

TEST(ModbusParameter, Overlay) {
    c_param param = made(R"("reg_type": "input", "value_type": "u16", "unit": "V", "converter_read": "value + 1")");
    auto const overlay = [&param](std::string const& text) {
        Json::Value node = json(text);
        param.Compare(node);
    };
    overlay("{}");
    overlay(R"({"unit": "A"})");
    EXPECT_EQ(param.reg_addr, 1);
    EXPECT_EQ(param.reg_type, modbus::reg_input);
    EXPECT_EQ(param.unit, "A");

    overlay(R"({"reg_addr": "0x20", "reg_type": "coil", "converter_read": "'x'", "poll_delay": 9})");
    EXPECT_EQ(param.reg_addr, 32);
    EXPECT_EQ(param.reg_type, modbus::reg_coil);
    // Expressions and the delay are not laid over.
    EXPECT_EQ(param.CalculateReadExpression("1"), "11");
    EXPECT_EQ(param.poll_delay, 0);

    overlay(std::string("{") + bit_list + "}");
    EXPECT_EQ(param.bits, nullptr);  // a coil has none
    {
        LogCapture const log(false);
        overlay(R"({"reg_type": "holding-bit"})");
        EXPECT_EQ(param.bits, nullptr);
        EXPECT_EQ(log.count("bh_list"), 1);
    }
    overlay(std::string("{") + bit_list + "}");
    ASSERT_NE(param.bits, nullptr);
    EXPECT_EQ(param.bits->items.size(), 2U);
    overlay(R"({"bh_list": [{"name": "c", "offset": 3}]})");
    EXPECT_EQ(param.bits->items.at(0).control_name(), "u_c");
    // A faulty list leaves the one that is there.
    EXPECT_NE(failure([&] { overlay(R"({"bh_list": []})"); }), "taken");
    ASSERT_NE(param.bits, nullptr);
    EXPECT_EQ(param.bits->items.size(), 1U);
    // A kind that can't be read leaves the address with it.
    EXPECT_NE(failure([&] { overlay(R"({"reg_addr": 99, "reg_type": {}})"); }), "taken");
    EXPECT_EQ(param.reg_addr, 32);
    EXPECT_EQ(param.reg_type, modbus::reg_holding_bit);
}

TEST(ModbusParameter, Converters) {
    c_param const plain = made("");
    EXPECT_EQ(plain.CalculateReadExpression("7"), "7");
    EXPECT_EQ(plain.CalculateWriteExpression("7"), "7");
    c_param const both = made(R"("converter_read": "value / 2", "converter_write": "value * 2")");
    EXPECT_EQ(both.CalculateReadExpression("7"), "3.5");
    EXPECT_EQ(both.CalculateWriteExpression("7"), "14");
    c_param const faulty = made(R"("converter_read": "''", "converter_write": "value +")");
    EXPECT_EQ(faulty.CalculateReadExpression("7"), "");
    EXPECT_THROW(faulty.CalculateWriteExpression("7"), std::exception);
}
