// Mercury meters: frames, values and the dialogue, against scripts of requests and replies.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/process.h"
#include "ctl/scenario/offset_clock.h"
#include "drivers/merc_2xx/device.h"
#include "drivers/merc_2xx/pdu.h"
#include "foundation/xmisc.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"
#include "support/sample_config.h"

using merc_2xx::c_param;
using merc_2xx::pdu;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr char open_request[] = "05 01 01 07 03 08 02 00 05 C2 B8";
constexpr char close_request[] = "05 02 83 21";
constexpr char all_well[] = "05 00 02 E0";
constexpr char ask_energy[] = "05 05 01 00 11 79";
constexpr char energy[] = R"({"name": "v", "reg_type": "array16", "value_type": "ma", "tarif": 0})";
constexpr char energies[] = "05 00 00 D2 04 FF FF FF FF 01 00 02 00 12 34 56 78 10 68";

/// Meter 5 that lets itself be opened and closed.
class Mercury : public DriverRig {
 public:
    explicit Mercury(std::string const& params = energy)
        : DriverRig(R"({"name": "m", "type": "merc230", "sid": 5, "poll_interval": 0, "params": [)" + params + "]}") {
        line().script.on(open_request, all_well).on(close_request, all_well).on(ask_energy, energies);
    }
    ~Mercury() { offset_clock::reset(); }

    merc_2xx::dev& meter() { return dev<merc_2xx::dev>(); }
    void poll() { meter().Poll(xCommon::xtime::time()); }
};

c_param param(std::string const& keys) {
    Json::Value node = sample::json(R"({"name": "v", )" + keys + "}");
    return c_param(nullptr, node);
}

template <typename Call>
std::string raised(Call call) {
    try {
        call();
    } catch (std::exception const& e) {
        return e.what();
    }
    return "nothing";
}

}  // namespace

TEST(MercuryConfig, KeysAndTheirLimits) {
    struct Row {
        char const* keys;
        char const* error;
    };
    Row const rows[] = {
        {R"("arr_num": 0)", "v : не указан атрибут 'reg_type'."},
        {R"("reg_type": "Array12")", "v : указан недопустимый атрибут 'reg_type' = Array12."},
        {R"("reg_type": "array12", "arr_num": 14)", "v : недопустимое значение атрибута 'arr_num'."},
        {R"("reg_type": "array12", "arr_num": 256)", "v : недопустимое значение атрибута 'arr_num'."},
        {R"("reg_type": "array12", "month": 13)", "v : недопустимое значение атрибута 'month'."},
        {R"("reg_type": "array12", "tarif": 5)", "v : недопустимое значение атрибута 'tarif'."},
        {R"("reg_type": "array12", "tarif": -1)", "v : недопустимое значение атрибута 'tarif'."},
        {R"("reg_type": "array12", "offset": 2)", "v : недопустимое значение атрибута 'offset'."},
        {R"("reg_type": "array12", "offset": 16)", "v : недопустимое значение атрибута 'offset'."},
        {R"("reg_type": "array12", "arr_num": 13, "month": 0, "tarif": 0, "offset": 12)", "nothing"},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(raised([&row] { param(row.keys); }), row.error) << row.keys;
    }
    c_param const plain = param(R"("reg_type": "param")");
    EXPECT_EQ(plain.arr_num, 0);
    EXPECT_EQ(plain.month, 1);
    EXPECT_EQ(plain.tarif, 1);
    EXPECT_EQ(plain.offset, 0);
    EXPECT_EQ(plain.bwri, 0);
}

TEST(MercuryConfig, AnOverlayIsNotLimited) {
    c_param laid_over = param(R"("reg_type": "array12", "value_type": "ma")");
    Json::Value node = sample::json(R"({"reg_type": "array16", "arr_num": 20, "month": 15, "tarif": 200, "offset": 7,
                                        "bwri": "0x21", "unit": "Wh"})");
    laid_over.Compare(node);
    EXPECT_EQ(laid_over.reg_type, merc_2xx::reg_array16);
    EXPECT_EQ(laid_over.arr_num, 20);
    EXPECT_EQ(laid_over.month, 15);
    EXPECT_EQ(laid_over.tarif, 200);
    EXPECT_EQ(laid_over.offset, 7);
    EXPECT_EQ(laid_over.bwri, 0x21);
    EXPECT_EQ(laid_over.unit, "Wh");
}

TEST(MercuryConfig, EveryModelIsThereAndFaultyDevicesAreNot) {
    for (char const* model : {"merc150", "merc203.2TD", "merc204", "merc208", "merc230", "merc231", "merc234",
                              "merc236", "merc238", "merc350"}) {
        DriverRig rig(std::string(R"({"name": "m", "sid": 300, "params": [)") + energy + R"(], "type": ")" + model +
                      R"("})");
        EXPECT_EQ(rig.dev<merc_2xx::dev>().get_device_name(), "m_300") << model;
        rig.dev<merc_2xx::dev>().Start();
        EXPECT_THAT(rig.line().sent, ElementsAre("2C 01 01 07 03 08 02 00 05 31 29")) << "the low byte of the address";
    }
    Json::Value no_sid = sample::json(R"({"name": "m", "type": "merc230", "params": []})");
    EXPECT_EQ(raised([&] { merc_2xx::c_dev(nullptr, no_sid); }), "#m : ctor : не указан порт.");
    LogCapture const log;
    EXPECT_THROW(DriverRig(R"({"name": "a", "type": "merc230"}, {"name": "b", "type": "merc230", "sid": 1},
                              {"name": "c", "type": "merc230", "sid": 1, "templ": "away"})"),
                 std::exception);
    EXPECT_TRUE(log.has("#a : ctor : не указан аргумент 'sid'."));
    EXPECT_TRUE(log.has("#b_1 : ctor : устройство не содержит ни одного параметра."));
    EXPECT_TRUE(log.has("[4] [c_1] загрузка шаблона : away."));
}

TEST(MercuryPdu, Requests) {
    struct Row {
        char const* keys;
        char const* frame;
    };
    Row const rows[] = {
        {R"("reg_type": "array12", "arr_num": 3, "month": 12, "tarif": 4)", "05 05 3C 04 00 2A"},
        {R"("reg_type": "array16", "arr_num": 13, "month": 0, "tarif": 0)", "05 05 D0 00 4D 29"},
        {R"("reg_type": "param", "bwri": 33)", "05 08 11 21 4D 62"},
        {R"("reg_type": "param", "bwri": "0x1FF")", "05 08 11 FF CD 3A"},
    };
    for (Row const& row : rows) {
        Mercury rig(R"({"name": "v", "value_type": "ma", )" + std::string(row.keys) + "}");
        rig.meter().opened = true;
        rig.meter().poll_param(&rig.param<c_param>());
        EXPECT_THAT(rig.line().sent, ElementsAre(row.frame)) << row.keys;
    }
    for (char const* password : {"", "12345", "1234567"}) {
        xCommon::ByteList out;
        EXPECT_EQ(raised([&] { pdu::open(out, 5, 1, password); }), "merc2::pdu::open : недопустимый размер пароля.");
        EXPECT_EQ(out.size(), 0U);
    }
}

TEST(MercuryPdu, StatusOfAShortReply) {
    struct Row {
        char const* reply;
        int code;
        char const* text;
    };
    Row const rows[] = {
        {"05 00 02 E0", 0, ""},
        {"05 01 00 00", 1, "Недопустимая команда или параметр"},
        {"05 02 00 00", 2, "Внутренняя ошибка счетчика"},
        {"05 03 00 00", 3, "Недостаточен уровень для удовлетворения запроса"},
        {"05 04 00 00", 4, "Внутренние часы счетчика уже корректировались в течение текущих суток"},
        {"05 05 00 00", 5, "Не открыт канал связи"},
        {"05 06 00 00", 6, "Неизвестная ошибка."},
        {"05 FF 00 00", 6, "Неизвестная ошибка."},
        {"05 01 00", 6, ""},
        {"04 01 00 00", 6, ""},
    };
    c_param const node = param(R"("reg_type": "param")");
    for (Row const& row : rows) {
        LogCapture const log;
        hex::Bytes const reply = hex::bytes(row.reply);
        EXPECT_EQ(pdu::parse_error(reply.data(), static_cast<int>(reply.size()), 5, &node), row.code) << row.reply;
        std::vector<std::string> expected;
        if (*row.text != '\0') {
            expected.push_back(std::string("[3] [v] ошибка при выполнении операции : ") + row.text + ".");
        }
        EXPECT_EQ(log.entries(), expected);
    }
    EXPECT_EQ(pdu::parse_error(nullptr, 4, 5, &node), 6);
}

TEST(MercuryValue, OfEachWord) {
    struct Row {
        char const* keys;
        char const* data;
        char const* text;
    };
    constexpr char twelve[] = "12 34 56 78 00 00 D2 04 FF FF FF FF";
    constexpr char short_buffer[] = "v # буфер слишком мал для значения.";
    Row const rows[] = {
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
    for (Row const& row : rows) {
        c_param const p = param(R"("reg_type": )" + std::string(row.keys));
        hex::Bytes const data = hex::bytes(row.data);
        std::string text;
        std::string const error = raised([&] { text = p.getValueFromBuf(data.data(), static_cast<int>(data.size())); });
        EXPECT_EQ(text.empty() ? error : text, row.text) << row.keys << " of " << row.data;
    }
    hex::Bytes const word = hex::bytes("FF 02 03");
    EXPECT_EQ(c_param::i_getValue132(word.data()), 0x3F0302);
    EXPECT_EQ(c_param::u_getValue132(word.data()), 0xFF0302U);
}

TEST(MercuryDevice, OpeningAndClosing) {
    struct Row {
        char const* reply;
        bool opened;
        std::vector<std::string> start_lines;
        std::vector<std::string> stop_lines;
    };
    Row const rows[] = {
        {all_well, true, {}, {}},
        // No size is expected: a frame of whatever length with a CRC that fits.
        {"05 00 11 22 33 E0 B0", true, {}, {}},
        {"", false, {"[3] [m_5] Start : ответ не получен."}, {"[3] [m_5] Stop : ответ не получен."}},
        {"05 00 02", false, {"[3] [m_5] Start : ответ не получен."}, {"[3] [m_5] Stop : ответ не получен."}},
        {"06 00 02 10", false, {"[3] [m_5] Start : не совпали SlaveId."}, {"[3] [m_5] Stop : не совпали SlaveId."}},
        {"05 00 E0 02", false, {"[3] [m_5] Start : не совпали CRC."}, {"[3] [m_5] Stop : не совпали CRC."}},
        {"05 00 02 E0 FF", false, {"[3] [m_5] Start : не совпали CRC."}, {"[3] [m_5] Stop : не совпали CRC."}},
        {"05 03 42 E1",
         false,
         {"[3] [m_5] ошибка при выполнении операции : Недостаточен уровень для удовлетворения запроса."},
         {}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.reply);
        Mercury rig;
        rig.line().script.on(open_request, row.reply).on(close_request, row.reply);
        rig.meter().opened = true;
        LogCapture log(false);
        EXPECT_TRUE(rig.meter().Start());
        EXPECT_EQ(rig.meter().opened, row.opened);
        EXPECT_EQ(log.entries(), row.start_lines);
        log.clear();
        rig.meter().opened = true;
        rig.meter().last_seen = 1;
        rig.meter().Stop();
        EXPECT_FALSE(rig.meter().opened);
        EXPECT_EQ(rig.meter().last_seen, 0);
        EXPECT_EQ(log.entries(), row.stop_lines);
        EXPECT_THAT(rig.line().sent, ElementsAre(open_request, close_request));
    }
}

// The bytes that a torn reply lacks are nowhere taken from elsewhere, and four bytes are a status whatever they were.
TEST(MercuryDevice, RepliesCutAtEveryLength) {
    struct Row {
        char const* keys;
        char const* request;
        char const* reply;
        char const* value;
    };
    Row const rows[] = {
        {R"("array16", "value_type": "ma", "tarif": 0)", ask_energy, energies, "v=1234"},
        {R"("array12", "value_type": "ma", "tarif": 0)", ask_energy, "05 00 00 D2 04 FF FF FF FF 01 00 02 00 D8 C1",
         "v=1234"},
        {R"("param", "value_type": "m1", "bwri": 17)", "05 08 11 11 4D 76", "05 00 70 56 A5 16", "v=22128"},
        {R"("param", "value_type": "m7", "bwri": 112)", "05 08 11 70 8C 9E", "05 00 15 A0 0E", "v=21"},
        // The fourth byte of the energy is the first one of the CRC.
        {R"("param", "value_type": "ma", "bwri": 17)", "05 08 11 11 4D 76", "05 12 34 56 36 13", "v=873608790"},
    };
    for (Row const& row : rows) {
        Mercury rig(R"({"name": "v", "reg_type": )" + std::string(row.keys) + "}");
        hex::Bytes const whole = hex::bytes(row.reply);
        for (size_t length = 0; length <= whole.size(); ++length) {
            rig.line().script.on(row.request, hex::text({whole.data(), length}));
            EXPECT_EQ(rig.meter().poll_param(&rig.param<c_param>()), length == whole.size());
            EXPECT_THAT(rig.published(), ElementsAre(length == whole.size() ? row.value : "v!")) << length;
        }
        EXPECT_GT(rig.meter().last_seen, 0);
    }
}

TEST(MercuryDevice, WhatCannotBeDecodedIsAnErrorWithoutAnR) {
    Mercury rig(R"({"name": "v", "reg_type": "array16", "value_type": "u32", "tarif": 0})");
    rig.meter().Start();
    long long const opened_at = rig.meter().last_seen;
    offset_clock::advance(100);
    LogCapture const log(false);
    rig.poll();
    EXPECT_THAT(rig.published(), ElementsAre());
    EXPECT_EQ(rig.port().errors, 1);
    EXPECT_TRUE(rig.meter().fault);
    EXPECT_EQ(rig.meter().last_seen, opened_at);
    EXPECT_EQ(log.count("[3] [m_5] исключение при опросе : v # недопустимый тип значения для типа регистра array12 или "
                        "array16."),
              1);
    EXPECT_FALSE(rig.meter().poll_param(nullptr));
}

TEST(MercuryDevice, AnAnswerBehindTheBeginningOfAPassIsNotOfTheFuture) {
    Mercury rig;
    rig.meter().Start();
    rig.line().sent.clear();
    rig.meter().Poll(rig.meter().last_seen - 1);
    EXPECT_THAT(rig.line().sent, ElementsAre(ask_energy));
}

TEST(MercuryDevice, WhoIsAskedInACycle) {
    Mercury rig(std::string(energy) +
                R"(, {"name": "off", "enabled": false, "reg_type": "array16", "value_type": "ma"},
                     {"name": "slow", "poll_interval": 100, "reg_type": "array16", "value_type": "ma", "tarif": 0},
                     {"name": "foreign", "type": "mb-rtu", "poll_interval": 100, "reg_addr": 1})");
    LogCapture const log(false);
    rig.poll();
    rig.poll();
    size_t const sent = rig.line().sent.size();
    rig.meter().opened = false;
    rig.param<CParam>(0).enabled = false;
    rig.poll();
    EXPECT_EQ(rig.line().sent.size(), sent) << "nobody was due, and the channel was opened all the same";
    EXPECT_THAT(rig.published(), ElementsAre("v=1234", "slow=1234", "v=1234"));
    EXPECT_EQ(log.count("[3] [foreign] параметр не является параметром этого счётчика : опрос пропущен."), 1);
    EXPECT_EQ(rig.port().polls, 3);
    EXPECT_EQ(rig.port().errors, 0);
    EXPECT_FALSE(rig.meter().poll_param(&rig.param<CParam>(3)));
}

TEST(MercuryDevice, FramesAreTracedUnderTheirLabels) {
    Mercury rig;
    LogCapture const log(false);
    PH::IsPrintHex = true;
    rig.poll();
    PH::IsPrintHex = false;
    EXPECT_THAT(
        log.entries(),
        ElementsAre(HasSubstr("merc2::dev::Stop : запрос : 05 02"), HasSubstr("merc2::dev::Stop : ответ : 05 00"),
                    HasSubstr("merc2::Start : запрос : 05 01 01 07"), HasSubstr("merc2::Start : ответ : 05 00"),
                    "[1] [v] начало опроса.", HasSubstr("get_response : запрос : 05 05 01 00"),
                    HasSubstr("merc2::dev::get_response : заголовок ответа : 05 00 00 D2 04")));
}

// What all meters with a session have in common about their line.

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
        DevBase& meter = *rig.port().devices[0];
        meter.Poll(1000000);
        EXPECT_EQ(rig.line().timeouts, row.cycle);
        rig.line().timeouts.clear();
        meter.poll_param(&rig.param<CParam>());
        EXPECT_THAT(rig.line().timeouts, ElementsAre("30 40"));

        rig.line().reads_raise = true;
        rig.published();
        LogCapture const log(false);
        meter.Start();
        meter.Stop();
        EXPECT_FALSE(meter.poll_param(&rig.param<CParam>()));
        EXPECT_EQ(log.count("[3] [m_5] " + std::string(row.milur ? "milur::Start : " : "") +
                            "исключение при запуске : no line."),
                  1);
        EXPECT_EQ(log.count("[3] [m_5] " + std::string(row.milur ? "milur::Stop : " : "") +
                            "исключение при остановке : no line."),
                  1);
        EXPECT_EQ(log.count("[3] [m_5] " + std::string(row.milur ? "milur::poll_param : " : "") +
                            "исключение при опросе : no line"),
                  1);
        EXPECT_THAT(rig.published(), ElementsAre());
    }
}

TEST(MeterLine, StaysOpenUnderPollReconnectAndIsOpenedBehindOthers) {
    DriverRig rig(R"({"name": "r", "sid": 1, "type": "mb-rtu", "poll_reconnect": true, "params": [
                        {"name": "r", "reg_addr": 16, "value_type": "u16"}]},
                     {"name": "m", "sid": 5, "type": "merc230", "poll_reconnect": true, "params": [)" +
                  std::string(energy) + "]}");
    rig.line()
        .script.on("01 03 00 10 00 01 85 CF", "01 03 02 00 65 78 6F")
        .on(open_request, all_well)
        .on(close_request, all_well)
        .on(ask_energy, energies);
    for (auto const& device : rig.port().devices) {
        device->Poll(1000000);
    }
    EXPECT_THAT(rig.published(), ElementsAre("r=101", "v=1234"));
    EXPECT_TRUE(rig.line().is_open());
    rig.port().Stop();
    EXPECT_NO_THROW(rig.port().devices[1]->Stop()) << "the line is gone";
}
