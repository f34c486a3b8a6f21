// Every kind of value that can be written, from an "/on" topic to the slave's registers and back. The slave is
// libmodbus; the registers stand here as they go over the wire.

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/broker.h"
#include "support/daemon.h"
#include "support/libmodbus_slave.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"

using std::chrono::milliseconds;
using std::chrono::seconds;
using Registers = std::vector<uint16_t>;

namespace {

constexpr auto soon = seconds(5);

struct Write {
    char const* reg_type;
    char const* value_type;
    char const* word_order;
    char const* payload;
    Registers registers;
    char const* read_back;
    char const* more = "{}";  ///< further keys of the parameter
};

/// What is read back at once.
Write const writes[] = {
    {"holding", "bit", "big_endian", "1", {0xFF00}, "1"},
    {"holding", "i16", "big_endian", "-2", {0xFFFE}, "-2"},
    {"holding", "i16", "little_endian", "-2", {0xFEFF}, "-2"},
    {"holding", "i16", "mid_big_endian", "-2", {0xFEFF}, "-2"},
    {"holding", "i16", "mid_little_endian", "-2", {0xFFFE}, "-2"},
    {"holding", "u16", "big_endian", "4660", {0x1234}, "4660"},
    {"holding", "u16", "little_endian", "4660", {0x3412}, "4660"},
    {"holding", "u16", "mid_big_endian", "4660", {0x3412}, "4660"},
    {"holding", "u16", "mid_little_endian", "4660", {0x1234}, "4660"},
    {"holding", "u16", "big_endian", "65537", {0x0001}, "1"},
    {"holding", "float16", "big_endian", "1.5625", {0x3E40}, "1070071808.00"},
    {"holding", "float16", "little_endian", "1.5625", {0x403E}, "1070071808.00"},
    {"holding", "str2", "big_endian", "OK", {0x4F4B}, "OK"},
    {"holding-m", "u16", "big_endian", "4660", {0x1234}, "4660"},
    {"holding-m", "i16", "little_endian", "-2", {0xFEFF}, "-2"},
    {"holding-m", "float16", "mid_big_endian", "1.5625", {0x403E}, "1070071808.00"},
    {"holding-m", "bit", "big_endian", "1", {0xFF00}, "1"},
    {"holding-m", "i32", "big_endian", "-559038737", {0xDEAD, 0xBEEF}, "-559038737"},
    {"holding-m", "i32", "little_endian", "-559038737", {0xEFBE, 0xADDE}, "-559038737"},
    {"holding-m", "i32", "mid_big_endian", "-559038737", {0xADDE, 0xEFBE}, "-559038737"},
    {"holding-m", "i32", "mid_little_endian", "-559038737", {0xBEEF, 0xDEAD}, "-559038737"},
    {"holding-m", "u32", "big_endian", "305419896", {0x1234, 0x5678}, "305419896"},
    {"holding-m", "u32", "little_endian", "305419896", {0x7856, 0x3412}, "305419896"},
    {"holding-m", "u32", "mid_big_endian", "305419896", {0x3412, 0x7856}, "305419896"},
    {"holding-m", "u32", "mid_little_endian", "305419896", {0x5678, 0x1234}, "305419896"},
    {"holding-m", "float32", "big_endian", "-1234.56", {0xC49A, 0x51EC}, "-1234.56"},
    {"holding-m", "float32", "little_endian", "-1234.56", {0xEC51, 0x9AC4}, "-1234.56"},
    {"holding-m", "float32", "mid_big_endian", "-1234.56", {0x9AC4, 0xEC51}, "-1234.56"},
    {"holding-m", "float32", "mid_little_endian", "-1234.56", {0x51EC, 0xC49A}, "-1234.56"},
    {"holding-m", "str2", "big_endian", "OK", {0x4F4B}, "OK"},
    {"holding-m", "str4", "little_endian", "ABCD", {0x4142, 0x4344}, "ABCD"},
    {"holding-m", "str8", "big_endian", "ABCDEFGH", {0x4142, 0x4344, 0x4546, 0x4748}, "ABCDEFGH"},
    // The scale is undone ahead of the write and applied behind the read; the converters run closest to the register.
    {"holding", "u16", "big_endian", "12.5", {125}, "12.50", R"({"scale": 0.1})"},
    {"holding",
     "u16",
     "big_endian",
     "75",
     {225},
     "75",
     R"({"converter_read": "value / 3", "converter_write": "value * 3"})"},
    {"holding-m",
     "i32",
     "big_endian",
     "20.5",
     {0xFFFF, 0xFF33},
     "20.50",
     R"({"scale": 0.1, "converter_read": "-value", "converter_write": "'' + -value"})"},
};

/// Function 16 under a kind whose answer is awaited as an echo of the request.
Write const unechoed_writes[] = {
    {"holding", "i32", "big_endian", "-2", {0xFFFF, 0xFFFE}, "-2"},
    {"holding", "u32", "mid_little_endian", "305419896", {0x5678, 0x1234}, "305419896"},
    {"holding", "float32", "little_endian", "-1234.56", {0xEC51, 0x9AC4}, "-1234.56"},
    {"holding", "str4", "big_endian", "ABCD", {0x4142, 0x4344}, "ABCD"},
    {"holding", "str8", "big_endian", "ABCDEFGH", {0x4142, 0x4344, 0x4546, 0x4748}, "ABCDEFGH"},
};

/// A write that is told off and sends nothing that writes.
struct Refusal {
    char const* reg_type;
    char const* value_type;
    char const* payload;
    char const* reason;  ///< behind "исключение при обработке сообщения # plc_7 : "; "%" stands for the parameter
};

Refusal const refusals[] = {
    {"holding", "i8", "1", "% # недопустимый value_type.."},
    {"holding", "u8", "1", "% # недопустимый value_type.."},
    {"holding", "fixi16", "1.5", "% # недопустимый value_type.."},
    {"holding-m", "fixu16", "1.5", "% # недопустимый value_type.."},
    {"holding", "i16", "abc", "stol."},
    {"holding-m", "u32", "", "% # пустое значение.."},
    {"holding", "i16", "99999999999999999999", "stol."},
    {"holding-m", "u32", "x", "stoul."},
    {"holding-m", "float32", "x", "stof."},
    {"coil", "bit", "2", "% # недопустимое значение [2] для value_type = bit.."},
    {"input", "u16", "1", "getWriteFunCode : % : для данного типа регистра запись невозможна.."},
    {"status", "bit", "1", "getWriteFunCode : % : для данного типа регистра запись невозможна.."},
};

Json::Value make_param(std::string const& name, char const* reg_type, char const* value_type, int address) {
    Json::Value param;
    param["name"] = name;
    param["reg_type"] = reg_type;
    param["value_type"] = value_type;
    param["reg_addr"] = address;
    param["read_only"] = false;
    return param;
}

std::vector<std::string> controls_of(Json::Value const& param) {
    std::vector<std::string> controls;
    for (Json::Value const& bit : param["bh_list"]) {
        controls.push_back(param["name"].asString() + "_" + bit["name"].asString());
    }
    return controls.empty() ? std::vector{param["name"].asString()} : controls;
}

std::string param_name(std::string const& prefix, size_t number) {
    return prefix + std::to_string(number);
}

int address_of(size_t row, int first) {
    return first + static_cast<int>(row) * 4;
}

/// One slave, one daemon, one parameter a row. Everything is polled once, so that what comes later was read back; the
/// `unechoed` ones are polled again after a while.
class ModbusWrite : public testing::Test {
 protected:
    template <size_t size>
    void add(Write const (&rows)[size], std::string const& prefix, int first_address, int poll_interval) {
        for (size_t row = 0; row < size; ++row) {
            Json::Value param = make_param(param_name(prefix, row), rows[row].reg_type, rows[row].value_type,
                                           address_of(row, first_address));
            param["word_order"] = rows[row].word_order;
            param["poll_interval"] = poll_interval;
            Json::Value const more = sample::json(rows[row].more);
            for (std::string const& key : more.getMemberNames()) {
                param[key] = more[key];
            }
            device_["params"].append(param);
        }
    }

    void add(std::string const& params) {
        for (Json::Value const& param : sample::json(params)) {
            device_["params"].append(param);
        }
    }

    void start() {
        Json::Value port = sample::rs_port("line", slave_.path());
        port["poll_interval"] = 3600;
        port["rto"] = 400;
        port["devices"].append(device_);
        Json::Value config = sample::root(broker_.port());
        config["ports"].append(port);
        daemon_.start_with(config);
        ASSERT_TRUE(probe_.wait_for("stat/line/poll", seconds(20))) << daemon_.log().text();
        for (Json::Value const& param : device_["params"]) {
            for (std::string const& control : controls_of(param)) {
                ASSERT_TRUE(probe_.wait_for(sample::value_topic("plc_7", control), soon)) << control;
            }
        }
    }

    void write(std::string const& control, std::string const& payload) {
        ASSERT_TRUE(probe_.publish(sample::on_topic("plc_7", control), payload));
    }

    /// The value as it comes next.
    std::string next(std::string const& control, size_t since, milliseconds limit = soon) {
        auto const message = probe_.wait_for(sample::value_topic("plc_7", control), limit, since);
        return message ? message->payload : "(nothing)";
    }

    Broker broker_;
    MqttProbe probe_{broker_.port()};
    Daemon daemon_;
    LibmodbusSlave slave_{daemon_.folder().file("line"), 7};
    Json::Value device_ = sample::rtu_device("plc", 7);
};

}  // namespace

TEST_F(ModbusWrite, EveryKindReachesTheSlaveAndIsReadBackAtOnce) {
    add(writes, "w", 0, 3600);
    add(R"([{"name": "valve", "reg_type": "coil", "reg_addr": 5, "value_type": "bit", "read_only": false}])");
    start();

    size_t const mark = probe_.mark();
    for (size_t row = 0; row < std::size(writes); ++row) {
        write(param_name("w", row), writes[row].payload);
    }
    for (char const* position : {"1", "0", "1"}) {
        write("valve", position);
    }
    for (size_t row = 0; row < std::size(writes); ++row) {
        std::string const name = param_name("w", row);
        SCOPED_TRACE(name + " : " + writes[row].reg_type + " " + writes[row].value_type);
        EXPECT_EQ(next(name, mark), writes[row].read_back);
        EXPECT_EQ(slave_.holding(address_of(row, 0), static_cast<int>(writes[row].registers.size())),
                  writes[row].registers);
        EXPECT_EQ(probe_.count(sample::value_topic("plc_7", name), mark), 1);
    }
    std::string const valve = sample::value_topic("plc_7", "valve");
    ASSERT_TRUE(probe_.wait_for_count(valve, 3, soon, mark));
    std::vector<MqttMessage> const positions = probe_.on_topic(valve, mark);
    EXPECT_EQ(positions[0].payload + positions[1].payload + positions[2].payload, "101");
    EXPECT_TRUE(slave_.coil(5));
    EXPECT_EQ(daemon_.log().count("записано новое значение : 225."), 1) << "the line quotes what was sent";
    EXPECT_EQ(daemon_.log().count("[3] [w"), 0);
}

TEST_F(ModbusWrite, MultipleRegistersUnderHoldingEndInTheTimeOutAndShowAtTheNextPoll) {
    constexpr int interval_s = 4;
    add(unechoed_writes, "u", 0, interval_s);
    add(R"([{"name": "wide", "reg_type": "holding-bit", "reg_addr": 100, "value_type": "u32", "read_only": false,
             "poll_interval": 4, "bh_list": [{"name": "b31", "offset": 31}, {"name": "b4", "offset": 4}]}])");
    slave_.set_holding(100, {0x0000, 0x0010});
    start();

    size_t const log_mark = daemon_.log().mark();
    size_t const mark = probe_.mark();
    for (size_t row = 0; row < std::size(unechoed_writes); ++row) {
        write(param_name("u", row), unechoed_writes[row].payload);
    }
    write("wide_b31", "1");
    for (size_t row = 0; row < std::size(unechoed_writes); ++row) {
        std::string const name = param_name("u", row);
        SCOPED_TRACE(name + " : " + unechoed_writes[row].value_type);
        EXPECT_TRUE(slave_.wait_holding(address_of(row, 0), unechoed_writes[row].registers, soon));
        EXPECT_TRUE(daemon_.log().wait_for("[3] [" + name + "] операция НЕ выполнена : timeout.", soon, log_mark));
        EXPECT_TRUE(probe_.wait_for(sample::value_topic("plc_7", name), unechoed_writes[row].read_back,
                                    seconds(interval_s + 5), mark));
    }
    EXPECT_TRUE(daemon_.log().wait_for("[3] [wide] операция НЕ выполнена : timeout.", soon, log_mark));
    EXPECT_TRUE(probe_.wait_for(sample::value_topic("plc_7", "wide_b31"), "1", seconds(interval_s + 5), mark));
    EXPECT_EQ(slave_.holding(100, 2), (Registers{0x8000, 0x0010}));
    EXPECT_EQ(daemon_.log().count("записано новое значение"), 0);
}

TEST_F(ModbusWrite, ABitIsWrittenIntoWhatTheRegisterHolds) {
    add(R"([{"name": "relay", "reg_type": "holding-bit", "reg_addr": 200, "value_type": "u16", "read_only": false,
             "bh_list": [{"name": "b0", "offset": 0}, {"name": "b7", "offset": 7},
                         {"name": "inv", "offset": 3, "inverted": true}]}])");
    slave_.set_holding(200, {0xA0F0});
    start();

    struct Row {
        char const* bit;
        char const* payload;
        uint16_t expected;
        char const* read_back;
    };
    Row const rows[] = {
        {"relay_b0", "1", 0xA0F1, "1"}, {"relay_b0", "1", 0xA0F1, "1"},  {"relay_b7", "0", 0xA071, "0"},
        {"relay_b0", "0", 0xA070, "0"}, {"relay_inv", "1", 0xA078, "0"}, {"relay_inv", "0", 0xA070, "1"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::string(row.bit) + " = " + row.payload);
        size_t const mark = probe_.mark();
        write(row.bit, row.payload);
        EXPECT_TRUE(slave_.wait_holding(200, {row.expected}, soon));
        EXPECT_TRUE(probe_.wait_for(sample::value_topic("plc_7", row.bit), row.read_back, soon, mark));
    }
    // What somebody else changed in the register stays.
    slave_.set_holding(200, {0x0F00});
    write("relay_b0", "1");
    EXPECT_TRUE(slave_.wait_holding(200, {0x0F01}, soon));

    size_t const log_mark = daemon_.log().mark();
    write("relay_b0", "2");
    EXPECT_TRUE(daemon_.log().wait_for("[3] [relay] значение 2 нельзя писать в бит b0.", soon, log_mark));
    EXPECT_TRUE(daemon_.log().wait_for("bitem::set_value : недопустимое значение : 2", soon, log_mark));
    EXPECT_EQ(slave_.holding(200), Registers{0x0F01});
}

TEST_F(ModbusWrite, WhatCannotBeWrittenIsToldAndSendsNothing) {
    for (size_t row = 0; row < std::size(refusals); ++row) {
        device_["params"].append(
            make_param(param_name("r", row), refusals[row].reg_type, refusals[row].value_type, address_of(row, 300)));
    }
    add(R"([{"name": "locked", "reg_addr": 400, "value_type": "u16"},
            {"name": "last", "reg_addr": 401, "value_type": "u16", "read_only": false}])");
    start();

    write("locked", "5");
    std::vector<std::string> expected;
    for (size_t row = 0; row < std::size(refusals); ++row) {
        std::string const name = param_name("r", row);
        std::string reason = refusals[row].reason;
        if (size_t const place = reason.find('%'); place != std::string::npos) {
            reason.replace(place, 1, name);
        }
        expected.push_back("[3] [line] исключение при обработке сообщения # plc_7 : " + reason);
        write(name, refusals[row].payload);
    }
    size_t const mark = probe_.mark();
    write("last", "7");
    EXPECT_EQ(next("last", mark), "7") << "a refused write must not hold up the next one";
    EXPECT_TRUE(daemon_.log().wait_for("[1] [last] ответ получен : 7", soon));
    std::vector<std::string> told;
    for (LogEntry const& entry : daemon_.log().matching("исключение при обработке сообщения")) {
        told.push_back(entry.whole);
    }
    EXPECT_EQ(told, expected);
    EXPECT_EQ(daemon_.log().count("обработка сообщения : /devices/plc_7/controls/locked/on"), 0);
    int writing_frames = 0;
    for (std::string const& frame : slave_.requests()) {
        int const function = std::stoi(frame.substr(3, 2), nullptr, 16);
        writing_frames += function > 4 ? 1 : 0;
    }
    EXPECT_EQ(writing_frames, 1);
    EXPECT_EQ(daemon_.log().count("Перезапуск"), 0);
}
