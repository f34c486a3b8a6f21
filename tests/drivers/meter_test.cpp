// Meters with a session: values, what no dialogue shows of frames, and what they have in common about their line. The
// dialogues themselves are scenarios.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/line/hex.h"
#include "ctl/scenario/offset_clock.h"
#include "drivers/merc_2xx/device.h"
#include "drivers/merc_2xx/pdu.h"
#include "drivers/milur/config.h"
#include "drivers/milur/pdu.h"
#include "drivers/set4tm/config.h"
#include "drivers/set4tm/pdu.h"
#include "foundation/xmisc.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"
#include "support/sample_config.h"

using testing::ElementsAre;

namespace {

struct ValueRow {
    char const* keys;
    char const* data;
    char const* text;  // or that of the exception
};

template <typename Call>
std::string text_of(Call call) {
    try {
        return call();
    } catch (std::exception const& e) {
        return e.what();
    }
}

template <typename Param>
void expect_value(ValueRow const& row, std::string const& keys) {
    Json::Value node = sample::json(R"({"name": "v", )" + keys + "}");
    Param const param(nullptr, node);
    hex::Bytes const data = hex::bytes(row.data);
    EXPECT_EQ(text_of([&] { return param.getValueFromBuf(data.data(), static_cast<int>(data.size())); }), row.text)
        << keys << " of " << row.data;
}

}  // namespace

TEST(MercuryValue, OfEachWord) {
    constexpr char twelve[] = "12 34 56 78 00 00 D2 04 FF FF FF FF";
    constexpr char short_buffer[] = "v # буфер слишком мал для значения.";
    ValueRow const rows[] = {
        {R"("array12", "value_type": "ma")", twelve, "873625686"},
        {R"("array12", "value_type": "ma", "offset": 4)", twelve, "1234"},
        {R"("array12", "value_type": "ma", "offset": 8)", twelve, "4294967295"},
        {R"("array12", "value_type": "ma", "offset": 12)", twelve,
         "v # недопустимое смещение для типа регистра array12."},
        {R"("array16", "value_type": "ma", "offset": 12)", "00 00 00 00 00 00 00 00 00 00 00 00 01 00 02 00", "65538"},
        {R"("array16", "value_type": "ma", "offset": 12)", twelve, short_buffer},
        {R"("array16", "value_type": "m1")", twelve,
         "v # недопустимый тип значения для типа регистра array12 или array16."},
        {R"("param", "value_type": "ma")", "12 34 56 78", "873625686"},
        {R"("param", "value_type": "ma")", "12 34 56", short_buffer},
        {R"("param", "value_type": "m0a")", "01 02 03", "66306"},
        {R"("param", "value_type": "m0a")", "41 02 03", "66306"},
        {R"("param", "value_type": "m0a")", "7F 02 03", "4129538"},
        {R"("param", "value_type": "m0a")", "81 02 03", "-66306"},
        {R"("param", "value_type": "m0a")", "FF FF FF", "-4194303"},
        {R"("param", "value_type": "m0a")", "80 00 00", "0"},
        {R"("param", "value_type": "m0r")", "81 02 03", "66306"},
        {R"("param", "value_type": "m0r")", "41 02 03", "-66306"},
        {R"("param", "value_type": "m0r")", "41 02", short_buffer},
        {R"("param", "value_type": "m1")", "FF FF FF", "16777215"},
        {R"("param", "value_type": "m1")", "01 02 03", "66306"},
        {R"("param", "value_type": "m3")", "40 34 12", "4660"},
        {R"("param", "value_type": "m3")", "00 34 12", "-4660"},
        {R"("param", "value_type": "m3")", "00 00 00", "0"},
        {R"("param", "value_type": "m6")", "34 12", "4660"},
        {R"("param", "value_type": "m6")", "34", short_buffer},
        {R"("param", "value_type": "m7")", "34 12", "13330"},
        {R"("param", "value_type": "u16")", "01 02 03", "v # недопустимый value_type."},
        {R"("param")", "01 02 03", "v # недопустимый value_type."},
        {R"("param", "value_type": "m1")", "", "v # пустое значение."},
    };
    for (ValueRow const& row : rows) {
        expect_value<merc_2xx::c_param>(row, R"("reg_type": )" + std::string(row.keys));
    }
    hex::Bytes const word = hex::bytes("FF 02 03");
    EXPECT_EQ(merc_2xx::c_param::i_getValue132(word.data()), 0x3F0302);
    EXPECT_EQ(merc_2xx::c_param::u_getValue132(word.data()), 0xFF0302U);
    Json::Value node = sample::json(R"({"name": "v", "reg_type": "param", "value_type": "m1"})");
    EXPECT_EQ(text_of([&] { return merc_2xx::c_param(nullptr, node).getValueFromBuf(word.data(), 0); }),
              "v # пустое значение.");
}

TEST(MilurValue, OfEachWord) {
    constexpr char short_buffer[] = "milur::getValueFromBuf : v # буфер слишком мал для значения.";
    ValueRow const rows[] = {
        {"i32", "15 CD 5B 07", "123456789"},
        {"i32", "FF FF FF FF", "-1"},
        {"i32", "00 00 00 80", "-2147483648"},
        {"i32", "00 00 00", short_buffer},
        {"u16", "34 12", "4660"},
        {"u16", "FF FF 01", "65535"},
        {"u16", "34", short_buffer},
        {"u24", "56 34 12", "1193046"},
        {"u24", "FF FF FF", "16777215"},
        {"i24", "FF FF FF", "16777215"},
        {"i24", "FF FF", short_buffer},
        {"bcd32", "12 34 56 78", "87654321"},
        {"bcd32", "00 00 00 AB", ";:000000"},
        {"bcd32", "12 34 56", short_buffer},
        {"u32", "00 00 00 00", "milur::getValueFromBuf : недопустимый value_type 6."},
        {"u16", "", "milur::getValueFromBuf : v # пустое значение."},
    };
    for (ValueRow const& row : rows) {
        expect_value<milur::c_param>(row, R"("object_id": 1, "value_type": ")" + std::string(row.keys) + "\"");
    }
}

TEST(MeterPdu, WhatNoDialogueShows) {
    xCommon::ByteList frames;
    for (char const* password : {"", "12345", "1234567"}) {
        EXPECT_EQ(text_of([&] {
                      merc_2xx::pdu::open(frames, 5, 1, password);
                      return std::string("taken");
                  }),
                  "merc2::pdu::open : недопустимый размер пароля.");
    }
    EXPECT_EQ(frames.size(), 0U);
    set4tm::pdu::test(frames, 5);
    set4tm::pdu::open(frames, 5, "164937");
    EXPECT_EQ(hex::text({frames.data(), frames.size()}), "05 00 02 E0 05 08 31 36 34 39 33 37 4E CA");
    DriverRig rig(R"({"name": "m", "type": "set-4tm", "sid": 5, "params": [
        {"name": "v", "command": 1, "param": 2}, {"name": "v", "command": 3, "param": 4294967295}]})");
    EXPECT_EQ(rig.param<set4tm::c_param>().command, 3U);
    EXPECT_EQ(rig.param<set4tm::c_param>().param, 4294967295U);
    EXPECT_EQ(dynamic_cast<set4tm::c_dev&>(*rig.dev<DevBase>().cfg).password, "164937");
    // What is no status of this meter is none of the texts.
    hex::Bytes const status = hex::bytes("05 81 08 00");
    auto const part = std::span(status).first(3);
    EXPECT_EQ(merc_2xx::pdu::parse_error(part, 5), 6);
    EXPECT_EQ(merc_2xx::pdu::parse_error(status, 4), 6);
    EXPECT_EQ(merc_2xx::pdu::reason(status, 4), nullptr);
    EXPECT_EQ(milur::pdu::parse_error(status, 5), 8);
    EXPECT_EQ(milur::pdu::parse_error(part, 5), 15);
    EXPECT_EQ(milur::pdu::parse_error(status, 4), 15);
    EXPECT_EQ(set4tm::pdu::check_head(5, hex::bytes("05 01 00 FF")).count, 255);
    for (char const* head : {"", "05 01 00", "06 01 00 02", "05 81 08 02"}) {
        EXPECT_EQ(set4tm::pdu::check_head(5, hex::bytes(head)).count, 0) << head;
    }
}

TEST(MercuryDevice, AnAnswerBehindTheBeginningOfAPassIsNotOfTheFuture) {
    DriverRig rig(R"({"name": "m", "type": "merc230", "sid": 5, "params": [
        {"name": "v", "reg_type": "array16", "value_type": "ma", "tarif": 0}]})");
    rig.line().script.on("05 01 01 07 03 08 02 00 05 C2 B8", "05 00 02 E0");
    auto& meter = rig.dev<merc_2xx::dev>();
    meter.Start();
    rig.line().sent.clear();
    meter.Poll(meter.last_seen - 1);
    EXPECT_THAT(rig.line().sent, ElementsAre("05 05 01 00 11 79"));
    meter.Stop();
    EXPECT_EQ(meter.last_seen, 0);
}

TEST(MeterLine, TimeOutsAndExceptionsOfEachStep) {
    struct Row {
        char const* device;
        std::vector<std::string> cycle;  ///< time-outs of a cycle with a silent meter
        bool milur;
    };
    for (Row const& row : {Row{R"("type": "merc230", "params": [{"reg_type": "param")", {"10 20"}, false},
                           {R"("type": "milur", "params": [{"object_id": 1)", {"30 40"}, true},
                           {R"("type": "set-4tm", "params": [{"command": 1, "param": 1)", {}, false}}) {
        SCOPED_TRACE(row.device);
        DriverRig rig(R"({"name": "m", "sid": 5, "rto": 10, "sto": 20, )" + std::string(row.device) +
                      R"(, "name": "v", "rto": 30, "sto": 40}]})");
        auto& meter = rig.dev<meter::device>();
        meter.Poll(1000000);
        EXPECT_EQ(rig.line().timeouts, row.cycle);
        rig.line().timeouts.clear();
        meter.poll_param(&rig.param<CParam>());
        EXPECT_THAT(rig.line().timeouts, ElementsAre("30 40"));
        EXPECT_FALSE(meter.poll_param(nullptr));

        rig.line().reads_raise = true;
        rig.published();
        LogCapture const log(false);
        meter.opened = true;
        meter.Start();
        EXPECT_FALSE(meter.opened);
        meter.opened = true;
        meter.Stop();
        EXPECT_FALSE(meter.opened);
        EXPECT_FALSE(meter.poll_param(&rig.param<CParam>()));
        auto const line = [&row](char const* step, char const* text) {
            return "[3] [m_5] " + (row.milur ? "milur::" + std::string(step) + " : " : "") + "исключение при " + text;
        };
        EXPECT_EQ(log.count(line("Start", "запуске : no line.")), 1);
        EXPECT_EQ(log.count(line("Stop", "остановке : no line.")), 1);
        EXPECT_EQ(log.count(line("poll_param", "опросе : no line")), 1);
        EXPECT_THAT(rig.published(), ElementsAre());
        EXPECT_TRUE(rig.line().is_open());
        rig.port().Stop();
        EXPECT_NO_THROW(meter.Stop()) << "the line is gone";
    }
}
