// The Emera driver without a line: frames, what becomes of each answer, dates.

#include <cstdlib>
#include <ctime>
#include <numeric>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/process.h"
#include "ctl/scenario/offset_clock.h"
#include "drivers/emera/device.h"
#include "drivers/emera/pdu.h"
#include "foundation/xmisc.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"
#include "support/sample_config.h"

using emera::ecparam;
using emera::edev;
using emera::epdu;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char ask_energy[] = "2F 3F 31 32 21 01 52 31 02 45 54 30 50 45 28 29 03 37";  // ET0PE() of meter 12

std::string energy(std::string const& more_keys = "") {
    return R"j({"name": "e", "cmd": "ET0PE()")j" + more_keys + "}";
}

class Meter : public DriverRig {
 public:
    explicit Meter(std::string const& params = energy())
        : DriverRig(R"({"name": "flat", "sid": "12", "type": "emera", "params": [)" + params + "]}") {}

    /// One pass in which everything is due, and everything is answered alike.
    std::vector<std::string> poll(std::string const& reply) {
        line().script.otherwise(::Reply{.hex = reply});
        port().devices[0]->Poll(now_ += 100000);
        return published();
    }

 private:
    long long now_ = 0;
};

/// What a meter sends for a text: with ETX and BCC, and an STX ahead unless told otherwise.
std::string answer(std::string const& text, bool with_stx = true) {
    hex::Bytes bytes(text.begin(), text.end());
    bytes.push_back(0x03);
    bytes.push_back(static_cast<unsigned char>(std::accumulate(bytes.begin(), bytes.end(), 0U) & 0x7FU));
    return (with_stx ? "02 " : "") + hex::text(bytes);
}

/// A time zone, and the 4th of March 2024 22:30:00 UTC, for the scope.
class At {
 public:
    explicit At(char const* zone) {
        setenv("TZ", zone, 1);
        tzset();
        offset_clock::advance(1709591400 - xCommon::xtime::time());
    }
    ~At() {
        unsetenv("TZ");
        tzset();
        offset_clock::reset();
    }
    At(At const&) = delete;
    At& operator=(At const&) = delete;
};

}  // namespace

TEST(EmeraConfig, WhatIsRefused) {
    char const* const rows[][2] = {
        {R"("params": [{"name": "p", "cmd": "A"}])", "#d : ctor : не указан аргумент 'sid'."},
        {R"("sid": "", "params": [{"name": "p", "cmd": "A"}])", "#d : ctor : не указан аргумент 'sid'."},
        {R"("sid": "1", "params": [])", "#d : ctor : устройство не содержит ни одного параметра."},
        {R"("sid": "1", "params": [{"name": "v"}])", "#v : ctor : не указан аргумент 'cmd'."},
        {R"("sid": "1", "params": [{"name": "v", "cmd": ""}])", "#v : ctor : не указан аргумент 'cmd'."},
    };
    for (auto const& [keys, reason] : rows) {
        LogCapture const log;
        EXPECT_THROW(DriverRig(R"({"name": "d", "type": "emera", )" + std::string(keys) + "}"), std::exception);
        EXPECT_EQ(log.count("исключение при парсинге элемента : " + std::string(reason)), 1) << reason;
    }
    Json::Value node = sample::json(R"({"name": "d", "type": "emera", "sid": "1"})");
    EXPECT_THROW(emera::ecdev(nullptr, node), std::exception);
}

TEST(EmeraConfig, LaterEntriesOfANameReplaceTheirKeys) {
    LogCapture const log(false);
    Meter meter(R"({"name": "e", "cmd": "A", "offset": 3}, {"name": "e", "cmd": "B"}, {"name": "e", "offset": -2},
                   {"name": "e", "cmd": "", "offset": 7}, {"name": "n", "cmd": "C", "offset": -1})");
    EXPECT_EQ(meter.param<ecparam>(0).cmd, "B");
    EXPECT_EQ(meter.param<ecparam>(0).offset, 0) << "the entry with an empty register is refused as a whole";
    EXPECT_EQ(log.count("#e : ctor : не указан аргумент 'cmd'."), 1);
    EXPECT_EQ(meter.param<ecparam>(1).offset, 0);
    EXPECT_EQ(meter.dev<edev>().get_device_name(), "flat_12");
}

TEST(EmeraPdu, Requests) {
    char const* const rows[][3] = {
        {"12", "ET0PE()", ask_energy},
        // The sum is 247, of which the BCC has seven bits.
        {"A-7", "zzz()", "2F 3F 41 2D 37 21 01 52 31 02 7A 7A 7A 28 29 03 47"},
        {"", "ET0PE()", "AA"},
        {"12", "", "AA"},
    };
    for (auto const& [sid, cmd, frame] : rows) {
        xCommon::ByteList out;
        out.push_8(0xAA);
        epdu::wrap(out, sid, cmd);
        EXPECT_EQ(hex::text({out.data(), out.size()}), frame);
    }
}

TEST(EmeraPdu, ChecksumsOfAnswers) {
    struct Row {
        char const* guards;
        char const* frame;
        bool good;
        char const* trace;
    };
    Row const rows[] = {
        {"an STX isn't counted", "02 41 42 03 06", true, "crc = 06 : ptr [ 4 ] = 06."},
        {"nor is an SOH", "01 41 42 03 06", true, "crc = 06 : ptr [ 4 ] = 06."},
        {"plain", "41 42 03 06", true, "crc = 06 : ptr [ 3 ] = 06."},
        {"bytes behind it", "41 42 03 06 FF FF", true, "crc = 06 : ptr [ 3 ] = 06."},
        {"up to the first ETX", "41 03 44 03 08", true, "crc = 44 : ptr [ 2 ] = 44."},
        {"the highest bit counts", "41 42 03 86", false, "crc = 06 : ptr [ 3 ] = 86."},
        {"cut behind the ETX", "41 42 03", false, "crc = 06 : ptr [ 3 ] = 00."},
        {"no ETX", "41 42 43 44", false, "crc = 0A : ptr [ 4 ] = 00."},
        {"an STX alone", "02", false, "crc = 00 : ptr [ 1 ] = 00."},
    };
    for (Row const& row : rows) {
        LogCapture const log;
        hex::Bytes const bytes = hex::bytes(row.frame);
        EXPECT_EQ(epdu::crc_check(bytes.data(), static_cast<int>(bytes.size())), row.good) << row.guards;
        EXPECT_THAT(log.entries(), ElementsAre("[4] " + std::string(row.trace))) << row.guards;
    }
    unsigned char const byte = 0x41;
    EXPECT_FALSE(epdu::crc_check(nullptr, 4));
    EXPECT_FALSE(epdu::crc_check(&byte, 0));
}

TEST(EmeraDevice, OneExchange) {
    struct Row {
        char const* guards;
        int offset;
        std::string reply;
        char const* value;  // null: a failure
        char const* line = nullptr;
    };
    Row const rows[] = {
        {"a value", 0, answer("ET0PE(1.5)"), "1.5"},
        {"without an STX", 0, answer("ET0PE(1.5)", false), "1.5"},
        {"the third bracket", 2, answer("ET0PE(1)(2)(3)"), "3"},
        {"one bracket too far", 3, answer("ET0PE(1)(2)(3)"), "1"},
        {"several lines", 1, answer("ET0PE(1)\r\n(2)\r\n"), "2"},
        {"an inner bracket", 0, answer("ET0PE(A(7)"), "7"},
        {"noise behind the BCC", 1, answer("ET0PE(1)") + " 28 39 29 00 00", "9"},
        {"a zero byte ends the text", 1, answer(std::string("A(1)\0(2)", 8)), "1"},
        {"an empty bracket", 0, answer("ET0PE()"), ""},
        {"an error elsewhere", 0, answer("(1)(E12)"), "1"},
        {"E05", 1, answer("(1)(E05)"), nullptr, "ответ Не получен : ошибка = ошибка протокола."},
        {"E17", 0, answer("(E17)"), nullptr, "ответ Не получен : ошибка = недопустимое значение аргумента запроса."},
        {"E18", 0, answer("(E18)"), nullptr,
         "ответ Не получен : ошибка = отсутствует параметр, определяемый значением аргумента."},
        {"E22", 0, answer("(E22)"), nullptr,
         "ответ Не получен : ошибка = размер запрошенной информации превышает размер выходного буфера."},
        {"unknown", 0, answer("(E99)"), nullptr, "ответ Не получен : ошибка = E99."},
        {"a number that begins so", 0, answer("(E12.5)"), nullptr, "ответ Не получен : ошибка = E12.5."},
        {"refused, and more", 0, "15 41 42 43", nullptr, "ответ НЕ получен : NAK."},
        {"two bytes", 0, "02 03", nullptr, "ответ НЕ получен : таймаут."},
        {"three, with a BCC", 0, "02 03 03", nullptr, "ответ НЕ получен : результат пуст."},
        {"noise ahead", 0, "7F 02 28 31 29 03 05", nullptr, "ответ НЕ получен : не совпала CRC."},
        {"no bracket", 0, answer("ABC", false), nullptr, "ответ НЕ получен : нет открывающей скобки : ABC."},
        {"with its ETX", 0, answer("ABC"), nullptr, "ответ НЕ получен : нет открывающей скобки : ABC\\x03."},
        {"no closing one", 0, answer("A(1", false), nullptr, "ответ НЕ получен : нет закрывающей скобки : A(1."},
        {"turned round", 0, answer(")1("), nullptr, "ответ НЕ получен : результат пуст."},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.guards);
        LogCapture const log(false);
        Meter meter(energy(R"(, "offset": )" + std::to_string(row.offset)));
        EXPECT_THAT(meter.poll(row.reply), ElementsAre(row.value != nullptr ? "e=" + std::string(row.value) : "e!"));
        EXPECT_THAT(meter.line().sent, ElementsAre(ask_energy));
        EXPECT_EQ(meter.port().errors, row.value != nullptr ? 0 : 1);
        std::vector<std::string> expected = {"[1] [e] начало опроса."};
        if (row.line != nullptr) {
            expected.push_back(std::string("[3] [e] ") + row.line);
        }
        EXPECT_EQ(log.entries(), expected);
    }
}

TEST(EmeraDevice, AReplyCutAnywhereGivesNoValue) {
    Meter meter;
    hex::Bytes const whole = hex::bytes(answer("ET0PE(1.5)"));
    for (size_t length = 0; length < whole.size(); ++length) {
        LogCapture const log(false);
        EXPECT_THAT(meter.poll(hex::text(std::span(whole).first(length))), ElementsAre("e!"));
        EXPECT_EQ(log.count("таймаут."), length < 3 ? 1 : 0);
        EXPECT_EQ(log.count("результат пуст."), length == 3 ? 1 : 0);
        EXPECT_EQ(log.count("не совпала CRC."), length > 3 ? 1 : 0);
    }
    EXPECT_THAT(meter.poll(hex::text(whole)), ElementsAre("e=1.5"));
    meter.line().close();
    EXPECT_THAT(meter.poll(hex::text(whole)), ElementsAre("e!"));
}

TEST(EmeraDevice, PlaceholdersAreFilledFromTheLocalDate) {
    char const* const rows[][3] = {
        // Half past one in the night to the 5th, three hours ahead of UTC.
        {"MSK-3", "ET0PE(%day%.%month%.%year%)",
         "2F 3F 31 32 21 01 52 31 02 45 54 30 50 45 28 30 35 2E 30 33 2E 32 34 "
         "29 03 41"},
        {"UTC0", "%day%", "2F 3F 31 32 21 01 52 31 02 30 34 03 6C"},
        {"UTC0", "%year%%month%%year%", "2F 3F 31 32 21 01 52 31 02 32 34 30 33 32 34 03 37"},
        {"UTC0", "%%day", "2F 3F 31 32 21 01 52 31 02 25 25 64 61 79 03 10"},
    };
    for (auto const& [zone, cmd, sent] : rows) {
        At const at(zone);
        Meter meter(R"({"name": "e", "cmd": ")" + std::string(cmd) + "\"}");
        meter.poll("");
        EXPECT_THAT(meter.line().sent, ElementsAre(sent));
        EXPECT_EQ(meter.param<ecparam>().cmd, cmd) << "the next day has another date";
    }
}

TEST(EmeraDevice, DatesBecomeSecondsWithTheZoneTakenOffTwice) {
    struct Row {
        char const* guards;
        char const* zone;
        char const* text;
        char const* seconds;
    };
    Row const rows[] = {
        {"in UTC, the seconds of that time", "UTC0", "xx050324013015#", "1709602215"},
        {"three hours ahead, six less", "MSK-3", "xx050324013015#", "1709580615"},
        {"west of Greenwich", "EST5", "xx050324013015#", "1709638215"},
        {"the last field needs a character behind it", "UTC0", "xx050324013015", "1709602200"},
        {"a date alone is short of its year", "UTC0", "xx050324", "952214400"},
        {"day 0 of month 0 of 2000", "UTC0", "", "943920000"},
    };
    for (Row const& row : rows) {
        At const at(row.zone);
        Meter meter(energy(R"(, "value_type": "date_time")"));
        EXPECT_THAT(meter.poll(answer("C(" + std::string(row.text) + ")")),
                    ElementsAre("e=" + std::string(row.seconds)))
            << row.guards;
    }
    EXPECT_EQ(edev::res_format(&Meter().param<ecparam>(), "xx050324013015#"), "xx050324013015#");
}

TEST(EmeraDevice, ADateOfOtherThanDigitsCountsAndPublishesNothing) {
    LogCapture const log(false);
    Meter meter(energy(R"(, "value_type": "date_time")"));
    EXPECT_THAT(meter.poll(answer("(01-a-03-24-01-30-15)")), IsEmpty());
    EXPECT_EQ(meter.port().errors, 1);
    EXPECT_EQ(log.entries().back(), "[3] [e] Poll : исключение при опросе параметра : stoi");
}

TEST(EmeraDevice, PartsOfTheDecoder) {
    char const* const nested[][2] = {{"7", "7"}, {"a(7", "7"}, {"ab(c(7", "c(7"}, {"a(bc(7", "7"}, {"((7", "(7"}};
    for (auto const& [text, rest] : nested) {
        EXPECT_EQ(edev::reg_check(text), rest) << text;
    }
    struct Row {
        char const* text;
        int pos;
        int len;
        int number;
    };
    for (Row const& row : {Row{"0123 ", 2, 2, 23}, {"0123", 2, 2, 0}, {"-12", 0, 2, -1}, {"0123", -1, 2, 0}}) {
        EXPECT_EQ(edev::get_int(row.text, row.pos, row.len), row.number) << row.text;
    }
}

TEST(EmeraDevice, AParameterOfAnotherFamilyIsPassedOver) {
    LogCapture const log(false);
    Meter meter(R"({"name": "m", "type": "mb-rtu", "reg_addr": 1, "value_type": "u16"}, )" + energy());
    EXPECT_THAT(meter.poll(answer("(1)")), ElementsAre("e=1"));
    EXPECT_EQ(meter.port().errors, 1);
    EXPECT_EQ(log.entries().at(0), "[3] [m] параметр не является параметром Emera : опрос пропущен.");
    EXPECT_FALSE(meter.dev<edev>().poll_param(nullptr));
    EXPECT_FALSE(meter.dev<edev>().get_response(nullptr).is_crc_ok);
}

TEST(EmeraDevice, TracesOfHexPrinting) {
    At const at("MSK-3");
    LogCapture const log;
    Meter meter(R"j({"name": "e", "cmd": "ET0PE(%day%)"})j");
    PH::IsPrintHex = true;
    meter.poll(answer("E(1)"));
    PH::IsPrintHex = false;
    for (char const* line :
         {"[4] [e] req_str : ET0PE(05).", "response", "[4] [e] ответ до форматирования : E(1)\\x03."}) {
        EXPECT_EQ(log.count(line), 1) << line;
    }
}
