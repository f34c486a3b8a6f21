// The VKT-7 driver without a line: the nine requests, what is made of the answers, and every way in which they fail.

#include <array>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/process.h"
#include "ctl/line/hex.h"
#include "drivers/vkt7rtu/device.h"
#include "drivers/vkt7rtu/pdu.h"
#include "drivers/vkt7rtu/reply.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"
#include "support/sample_config.h"
#include "support/temp_folder.h"

using testing::ElementsAre;
using testing::IsEmpty;
using vkt7rtu::c_param;
using vkt7rtu::pdu;
using Decoder = vkt7rtu::Reply;

namespace {

constexpr size_t steps = 9;

/// An answer to a read: slave 1, the byte count, the data.
std::string data_reply(std::string const& text) {
    hex::Bytes bytes = hex::bytes(text);
    bytes.insert(bytes.begin(), {0x01, 0x03, static_cast<unsigned char>(bytes.size())});
    return hex::with_crc16(hex::text(bytes));
}

std::string repeated(std::string const& text, int times) {
    std::string result;
    for (int time = 0; time < times; ++time) {
        result += text;
    }
    return result;
}

/// Eight texts, then precisions of these digits.
std::string properties(std::vector<int> const& digits) {
    std::string text = repeated("02 00 AA BB C0 00 ", 8);
    for (int const value : digits) {
        text += hex::text(std::array{static_cast<unsigned char>(value)}) + " C0 00 ";
    }
    return data_reply(text);
}

std::string active(std::vector<int> const& numbers) {
    std::string text;
    for (int const number : numbers) {
        text += hex::text(std::array{static_cast<unsigned char>(number)}) + " 00 00 40 04 00 ";
    }
    return data_reply(text);
}

constexpr char version_byte[] = "30";
const std::string written = hex::with_crc16("01 10 3F FF 00 00");

std::string param(std::string const& keys) {
    return R"({"name": "v", )" + keys + "}";
}

class Heat : public DriverRig {
 public:
    explicit Heat(std::string const& params, std::string const& device_keys = "")
        : DriverRig(R"({"name": "heat", "type": "vkt7-rtu", "sid": 1)" + device_keys + R"(, "params": [)" + params +
                    "]}") {
        line().script.otherwise([this](std::span<unsigned char const>) { return ::Reply{.hex = replies.at(step_++)}; });
    }

    /// One pass in which everything is due.
    std::vector<std::string> poll() {
        step_ = 0;
        line().sent.clear();
        port().devices[0]->Poll(now_ += 100000);
        return published();
    }
    vkt7rtu::dev& calculator() { return dev<vkt7rtu::dev>(); }

    std::array<std::string, steps> replies = {written,
                                              data_reply(repeated("00 ", 61) + version_byte),
                                              hex::with_crc16("01 10 3F FD 00 00"),
                                              written,
                                              properties({0, 1, 2, 3, 4, 5, 6, 7}),
                                              hex::with_crc16("01 10 3F FD 00 00"),
                                              active({3, 19}),
                                              written,
                                              data_reply("D2 04 00 00 C0 00")};

 private:
    size_t step_ = 0;
    long long now_ = 0;
};

class RaisingTran : public ScriptTran {
 public:
    using ScriptTran::ScriptTran;
    int read(unsigned char* /*buffer*/, int /*count*/) override { throw 1; }
};

}  // namespace

TEST(Vkt7, TheNineRequests) {
    LogCapture const log;
    Heat heat(param(R"("reg_addr": 3)"), R"(, "poll_delay": 1)");
    EXPECT_THAT(heat.poll(), ElementsAre("v=123.4"));
    EXPECT_THAT(
        heat.line().sent,
        ElementsAre("01 10 3F FF 00 00 CC 80 00 00 00 60 A8", "01 03 3F FE 00 00 28 2E",
                    "01 10 3F FD 00 00 02 06 00 7E E2",
                    "01 10 3F FF 00 00 60 2C 00 00 40 07 00 2D 00 00 40 07 00 2E 00 00 40 07 00 2F 00 00 40 07 00 30 "
                    "00 00 40 07 00 35 00 00 40 07 00 37 00 00 40 07 00 38 00 00 40 07 00 39 00 00 40 01 00 3B 00 00 "
                    "40 01 00 3C 00 00 40 01 00 3D 00 00 40 01 00 42 00 00 40 01 00 46 00 00 40 01 00 45 00 00 40 01 "
                    "00 4C 00 00 40 01 00 22 58",
                    "01 03 3F FE 00 00 28 2E", "01 10 3F FD 00 00 02 05 00 7E 12", "01 03 3F FC 00 00 89 EE",
                    "01 10 3F FF 00 00 06 03 00 00 40 04 00 5F 55", "01 03 3F FE 00 00 28 2E"));
    EXPECT_EQ(dynamic_cast<vkt7rtu::c_dev&>(*heat.calculator().cfg).server_version, 0x30);
    for (auto const& [line, count] :
         std::vector<std::pair<char const*, int>>{{"[4] [v] Версия сервера: 0x30", 1},
                                                  {"[4] [v] Свойство: [quality: 0xc0, alarm: 0x00]", 8},
                                                  {"[4] [v] Точность: [0x07, quality: 0xc0, alarm: 0x00]", 1},
                                                  {"[4] [v] Регистр [0x03], размер: [0x04]", 1},
                                                  {"[4] [v] Регистр [0x13]", 0},  // the search has ended
                                                  {"[4] [v] Байт качества: 0xc0, байт нештатных ситуаций: 0x00", 1}}) {
        EXPECT_EQ(log.count(line), count) << line;
    }
}

TEST(Vkt7, KindAndDigitsOfEveryRegister) {
    std::vector<std::set<int>> const by_precision = {{0, 1, 2, 14, 15, 16, 22, 23, 24, 36},
                                                     {3, 4, 5},
                                                     {6, 7, 8},
                                                     {9, 10, 31, 32},
                                                     {12, 13, 17, 18},
                                                     {28, 29, 30},
                                                     {25, 26, 27},
                                                     {34, 35, 39, 40}};
    std::set<int> const kind_4 = {0,  1,  2,  9,  10, 14, 15, 16, 19, 20, 21, 22,
                                  23, 24, 31, 32, 36, 41, 42, 43, 77, 78, 81, 82};
    std::set<int> const kind_5 = {3, 4, 5, 6, 7, 8, 11, 12, 13, 17, 18, 25, 26, 27, 28, 29, 30, 33, 34, 35, 39, 40};
    std::set<int> const floats = {19, 20, 21, 41, 42, 43, 81};
    for (int number = 0; number <= 300; ++number) {
        SCOPED_TRACE(number);
        LogCapture const log(false);
        Heat heat(param(R"("reg_addr": )" + std::to_string(number)));
        heat.replies[4] = properties({1, 2, 3, 4, 5, 6, 7, 8});
        heat.replies[6] = active({number});
        heat.replies[8] = data_reply("15 CD 5B 07 C0 00");
        std::vector<std::string> const published = heat.poll();
        if (!kind_4.contains(number) && !kind_5.contains(number)) {
            EXPECT_THAT(published, ElementsAre("v!"));
            EXPECT_EQ(heat.line().sent.size(), 5U);
            EXPECT_EQ(log.count("] не используется при получении (итоговых) текущих значений"), 1);
            continue;
        }
        std::string expected = floats.contains(number) ? "0.000000" : "123456789";
        for (size_t precision = 0; precision < by_precision.size(); ++precision) {
            if (by_precision[precision].contains(number)) {
                expected.insert(expected.size() - precision - 1, ".");
            }
        }
        EXPECT_THAT(published, ElementsAre("v=" + expected));
        EXPECT_EQ(heat.line().sent.at(5).substr(21, 2), kind_4.contains(number) ? "04" : "05");
    }
}

TEST(Vkt7, Values) {
    struct Row {
        int reg_addr;
        int digits;
        char const* reply;
        char const* published;
    };
    Row const rows[] = {
        {3, 0, "D2 04 C0 00", "v=1234"},
        {3, 2, "D2 04 C0 00", "v=12.34"},
        {3, 2, "05 00 C0 00", "v=0.05"},
        {3, 2, "07 00 C0 00", "v=0.07"},
        {3, 2, "0C 00 C0 00", "v=.12"},
        {3, 3, "0C 00 C0 00", "v=0.012"},
        {3, 1, "FF FF C0 00", "v=6553.5"},
        {3, 0, "FF FF FF FF C0 00", "v=4294967295"},
        {3, 0, "01 02 03 C0 00", "v!"},
        {3, 2, "01 02 03 C0 00", "v=0.00"},  // a size that no number has
        {3, 0, "C0 00", "v!"},
        {3, 2, "00 00 FF FF", "v=0.00"},  // the flags decide nothing
        {19, 2, "00 00 C0 3F C0 00", "v=1.500000"},
        {19, 2, "00 00 C0 BF 99 C0 00", "v=-1.500000"},
        {19, 2, "00 00 C0 7F C0 00", "v=nan"},
        {19, 2, "00 00 C0", "v!"},
        {19, 2, "00 00 C0 3F", "v=1.500000"},  // whose count tells two bytes
    };
    for (Row const& row : rows) {
        Heat heat(param(R"("reg_addr": )" + std::to_string(row.reg_addr)));
        heat.replies[4] = properties({row.digits, row.digits});
        heat.replies[8] = data_reply(row.reply);
        EXPECT_THAT(heat.poll(), ElementsAre(row.published)) << row.reply << " with " << row.digits;
    }
}

TEST(Vkt7, EveryStepCanFail) {
    struct Row {
        std::string reply;
        char const* line;
    };
    Row const rows[] = {
        {"", "ошибка чтения из rs-порта, прочитано [0] байт"},
        {"01 03 02 00 00 B8 45", "ответ НЕ получен : не совпали CRC."},
        {hex::with_crc16("02 03 00"), "операция НЕ выполнена : не совпадают sid"},
        {hex::with_crc16("01 83 02"), "операция НЕ выполнена : Адрес данных, указанный в запросе, недоступен"},
        {hex::with_crc16("01 90 FF"), "операция НЕ выполнена : Неизвестная ошибка"},
        {"01", "ответ НЕ получен : не совпали CRC."},
        {"01 03", "ответ НЕ получен : не совпали CRC."},
        {"FF " + written, "операция НЕ выполнена : не совпадают sid"},
        {written + " FF", "ответ НЕ получен : не совпали CRC."},
    };
    for (size_t step = 0; step < steps; ++step) {
        for (Row const& row : rows) {
            SCOPED_TRACE(testing::Message() << step << " " << row.reply);
            LogCapture const log(false);
            Heat heat(param(R"("reg_addr": 3)"));
            heat.replies.at(step) = row.reply;
            EXPECT_THAT(heat.poll(), ElementsAre("v!"));
            EXPECT_EQ(heat.line().sent.size(), step + 1);
            EXPECT_EQ(heat.port().errors, 1);
            EXPECT_THAT(log.entries(), ElementsAre(std::string("[3] [v] ") + row.line));
            heat.replies.at(step) = Heat(param(R"("reg_addr": 3)")).replies.at(step);
            EXPECT_THAT(heat.poll(), ElementsAre("v=123.4"));
        }
    }
}

TEST(Vkt7, ALineThatTakesNothingOrRaises) {
    LogCapture const log(false);
    Heat heat(param(R"("reg_addr": 3)"));
    heat.line().writes_fail = true;
    EXPECT_THAT(heat.poll(), ElementsAre("v!"));
    heat.port().tran = std::make_unique<RaisingTran>(heat.port().cport);
    heat.port().tran->open();
    heat.calculator().Poll(1000000);
    EXPECT_THAT(heat.published(), ElementsAre("v!"));
    EXPECT_THAT(log.entries(), ElementsAre("[3] [v] ошибка записи в rs-порт, записано [-1] байт",
                                           "[3] [v] общая ошибка чтения/записи порта"));
}

TEST(Vkt7, ALyingByteCountOfAReplyEndsNoDialogue) {
    struct Row {
        size_t step;
        char const* count;
        char const* published;
    };
    // Without precisions there is no point; a value of a size that no number has is none.
    for (Row const& row :
         {Row{4, "00", "v=1234"}, {4, "FF", "v=123.4"}, {6, "FF", "v=123.4"}, {8, "00", "v=0.0"}, {8, "FF", "v=0.0"}}) {
        Heat heat(param(R"("reg_addr": 3)"));
        std::string reply = heat.replies.at(row.step).replace(6, 2, row.count);
        heat.replies.at(row.step) = hex::with_crc16(reply.substr(0, reply.size() - 6));
        EXPECT_THAT(heat.poll(), ElementsAre(row.published)) << row.step << " " << row.count;
    }
}

TEST(Vkt7, RegistersThatTheCalculatorDoesNotList) {
    for (std::string const& list :
         {active({4, 19}), active({}), data_reply("03 00"), hex::with_crc16("01 03 00 03 00 00 40 04 00")}) {
        LogCapture const log(false);
        Heat heat(param(R"("reg_addr": 3)"));
        heat.replies[6] = list;
        EXPECT_THAT(heat.poll(), ElementsAre("v!"));
        EXPECT_EQ(heat.line().sent.size(), 7U);
        EXPECT_THAT(log.entries(), ElementsAre("[3] [v] В перечне активных элементов адрес [0x03] не найден"));
    }
}

// Frames whose byte count says more or less than they hold, each in an allocation of just its size.
TEST(Vkt7, LyingByteCounts) {
    Json::Value node = sample::json(R"({"name": "v", "reg_addr": 3})");
    c_param const log_param(nullptr, node);
    auto const bytes = [](std::string const& frame) {
        hex::Bytes result = hex::bytes(frame);
        result.shrink_to_fit();
        return result;
    };
    vkt7rtu::RegisterRow const plain = *vkt7rtu::find_register(3);
    vkt7rtu::RegisterRow const fraction = *vkt7rtu::find_register(19);
    std::vector<std::string> const contents = {repeated("02 00 AA BB C0 00 ", 8) + repeated("07 C0 00 ", 8),
                                               repeated("03 00 00 40 02 00 ", 3), "D2 04 C0 00", "D2 04 00 00 C0 00",
                                               ""};
    for (std::string const& content : contents) {
        for (int count = 0; count < 256; ++count) {
            hex::Bytes const frame =
                bytes("01 03 " + hex::text(std::array{static_cast<unsigned char>(count)}) + content + "12 34");
            Decoder::precisions(log_param, frame);
            Decoder::has_register(log_param, frame, 200);
            Decoder::value(log_param, frame, fraction, 2);
            std::string const text = Decoder::value(log_param, frame, plain, 0);
            bool const is_number = count == 4 || count == 6;
            EXPECT_EQ(!text.empty(), is_number && static_cast<size_t>(count) + 3 <= frame.size()) << content << count;
        }
    }
    for (size_t size = 0; size < 5; ++size) {
        hex::Bytes const frame(size, 0x03);
        EXPECT_FALSE(Decoder::server_version(frame));
        EXPECT_EQ(Decoder::value(log_param, frame, plain, 2), "");
        EXPECT_FALSE(Decoder::has_register(log_param, frame, 3));
        EXPECT_EQ(Decoder::precisions(log_param, frame), Decoder::Precisions{});
    }
    struct Row {
        char const* frame;
        vkt7rtu::RegisterRow const& row;
        char const* text;
        char const* line = nullptr;
    };
    constexpr char cut[] = "[3] [v] ответ короче объявленного : значение НЕ получено.";
    for (Row const& row :
         {Row{"01 03 00 12 34", plain, "0.00"}, Row{"01 03 01 D2 12 34", plain, "0.00"},
          Row{"01 03 FF D2 04 00 00 12 34", plain, "0.00"}, Row{"01 03 04 D2 12 34", plain, "", cut},
          Row{"01 03 06 D2 04 00 12 34", plain, "", cut}, Row{"01 03 06 D2 04 00 00 12 34", plain, "12.34"},
          Row{"01 03 00 00 00 C0 3F 12 34", fraction, "1.500000"},
          Row{"01 03 06 00 00 C0 12 34", fraction, "",
              "[3] [v] ответ короче числа с плавающей точкой : значение НЕ получено."}}) {
        LogCapture const log;
        EXPECT_EQ(Decoder::value(log_param, bytes(row.frame), row.row, 2), row.text) << row.frame;
        EXPECT_EQ(log.entries(), row.line != nullptr ? std::vector<std::string>{row.line} : std::vector<std::string>());
    }
    // More than sixteen properties, and fewer.
    std::string const texts = repeated("00 00 C0 00 ", 8);
    hex::Bytes const many = bytes(data_reply(texts + repeated("09 C0 00 ", 60)));
    EXPECT_EQ(Decoder::precisions(log_param, many), (Decoder::Precisions{9, 9, 9, 9, 9, 9, 9, 9}));
    hex::Bytes const few = bytes(data_reply(texts + "03 C0 00 04"));
    EXPECT_EQ(Decoder::precisions(log_param, few), (Decoder::Precisions{3, 4}));
}

TEST(Vkt7Config, RegisterKindsAndOverlays) {
    std::pair<char const*, int> const kinds[] = {{"coil", 0},      {"status", 1},      {"input", 2},     {"holding", 3},
                                                 {"holding-m", 4}, {"holding-bit", 5}, {"input-bit", 6}, {"inptu", 3}};
    for (auto const& [word, code] : kinds) {
        Json::Value node = sample::json(R"({"reg_type": ")" + std::string(word) + "\"}");
        EXPECT_EQ(c_param::GetRegType(node), code) << word;
    }
    LogCapture const log(false);
    Heat heat(R"({"name": "a", "type": "vkt7-rtu", "reg_addr": "0x13", "poll_delay": 5},
                 {"name": "b", "type": "vkt7-rtu", "reg_addr": 1, "scale": 2},
                 {"name": "a", "type": "vkt7-rtu", "reg_addr": "4", "reg_type": "input-bit", "unit": "u"},
                 {"name": "b", "reg_type": "holding-bit", "bh_list": [{"name": "x", "offset": 1}]},
                 {"name": "c", "type": "vkt7-rtu"}, {"name": "d", "reg_addr": 7})",
              R"(, "poll_delay": 9)");
    auto const& a = heat.param<c_param>(0);
    auto const& b = heat.param<c_param>(1);
    EXPECT_THAT((std::vector{static_cast<int>(a.reg_addr), a.reg_type, static_cast<int>(a.poll_delay)}),
                ElementsAre(4, 6, 5));
    EXPECT_EQ(a.unit, "u");
    EXPECT_EQ(b.poll_delay, 9);
    ASSERT_TRUE(b.bits);
    EXPECT_EQ(b.bits->items.at(0).control_name(), "b_x");
    EXPECT_EQ(heat.param<modbus::c_param>(2).poll_delay, 9);
    EXPECT_EQ(heat.calculator().get_device_name(), "heat_1");
    EXPECT_THAT(log.entries(),
                ElementsAre("[3] [a] битовый параметр без списка 'bh_list' : публиковать нечего.",
                            "[3] [heat_1] vkt7-rtu.cparam : nnm : исключение при парсинге элемента : c : не указан "
                            "атрибут 'reg_addr'."));
}

TEST(Vkt7, ParametersOfOtherClasses) {
    LogCapture const log(false);
    // Without a type of its own it is a Modbus parameter, whose bit kind means nothing here.
    Heat heat(R"({"name": "m", "reg_addr": 3, "reg_type": "holding-bit", "bh_list": [{"name": "x", "offset": 1}]},
                 {"name": "f", "type": "emera", "cmd": "A"})");
    EXPECT_THAT(heat.poll(), ElementsAre("m=123.4"));
    EXPECT_EQ(heat.port().errors, 1);
    EXPECT_THAT(log.entries(), ElementsAre("[3] [f] параметр не является параметром ВКТ-7 : опрос пропущен."));
    EXPECT_FALSE(heat.calculator().poll_param(nullptr));
    xCommon::ByteList out;
    EXPECT_THROW(pdu::read_data(out, 1, nullptr), std::exception);
    try {
        pdu::write_values(out, 1, nullptr, 4);
        ADD_FAILURE();
    } catch (std::exception const& e) {
        EXPECT_STREQ(e.what(), "pdu::write_values : param == (nil)");
    }
    EXPECT_TRUE(out.empty());
}

TEST(Vkt7, BitsArePublishedAsBitsAndAFaultTouchesTheConfiguration) {
    TempFolder const folder;
    cfg_name = folder.write("driver.json", "{}");
    auto const long_ago = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    std::filesystem::last_write_time(cfg_name, long_ago);
    LogCapture const log(false);
    Heat heat(param(R"("type": "vkt7-rtu", "reg_addr": 3, "reg_type": "input-bit",
                       "bh_list": [{"name": "x", "offset": 1}])"));
    EXPECT_THAT(heat.poll(), IsEmpty()) << "its bits have topics of their own";
    EXPECT_EQ(heat.port().errors, 0);
    EXPECT_EQ(std::filesystem::last_write_time(cfg_name), long_ago);
    // Of just as many digits as the precision has: ".7", which is no whole number.
    heat.replies[8] = data_reply("07 00 C0 00");
    EXPECT_THAT(heat.poll(), IsEmpty());
    EXPECT_EQ(heat.port().errors, 1);
    EXPECT_THAT(log.entries(), ElementsAre("[3] [v] исключение при опросе : stoul"));
    EXPECT_GT(std::filesystem::last_write_time(cfg_name), long_ago);
    cfg_name.clear();
    heat.replies[8].clear();
    EXPECT_THAT(heat.poll(), ElementsAre("v!"));
}

TEST(Vkt7, CommandsAreTakenAndDropped) {
    LogCapture const log;
    Heat heat(R"({"name": "off", "reg_addr": 3, "read_only": false, "enabled": false}, {"name": "ro", "reg_addr": 4},
                 {"name": "b", "type": "vkt7-rtu", "reg_addr": 5, "reg_type": "holding-bit", "read_only": false,
                  "bh_list": [{"name": "x", "offset": 1}]},
                 {"name": "i", "type": "vkt7-rtu", "reg_addr": 5, "reg_type": "input-bit", "read_only": false,
                  "bh_list": [{"name": "x", "offset": 1}]}, {"name": "f", "type": "emera", "cmd": "A", "read_only": false})",
              R"(, "poll_reconnect": true)");
    heat.calculator().ProcConnect();
    for (char const* control : {"off", "b_x", "i"}) {
        EXPECT_EQ(log.count("[4] [heat_1] subscribe on : /devices/heat_1/controls/" + std::string(control) + "/on."),
                  1);
    }
    EXPECT_EQ(log.count("subscribe on"), 3);
    struct Row {
        char const* control;
        char const* payload;
        bool taken;
    };
    for (Row const& row : {Row{"off/on", "5", true},
                           {"b_x/on", "7", true},
                           {"b/on", "1", false},
                           {"ro/on", "1", false},
                           {"i/on", "7", true},
                           {"off", "5", false}}) {
        heat.line().open();
        std::string topic = "/devices/heat_1/controls/" + std::string(row.control);
        std::string payload = row.payload;
        EXPECT_EQ(heat.calculator().ProcMessage(topic, payload), row.taken) << topic;
        EXPECT_EQ(heat.line().is_open(), !row.taken) << topic;
        EXPECT_EQ(log.count("[4] [heat_1] ProcMessage : " + topic + " = " + payload + "."), 1);
    }
    EXPECT_EQ(log.count("[3] [b] значение 7 нельзя писать в бит x."), 1);
    EXPECT_THAT(heat.line().sent, IsEmpty());
}
