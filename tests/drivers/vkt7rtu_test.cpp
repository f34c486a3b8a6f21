// The VKT-7 driver without a line: what is made of the answers, and every way in which they fail.

#include <array>
#include <exception>
#include <filesystem>
#include <string>
#include <tuple>
#include <utility>
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

const std::string written = hex::with_crc16("01 10 3F FF 00 00");

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

    std::array<std::string, steps> replies = {
        written,
        data_reply("00 00"),
        hex::with_crc16("01 10 3F FD 00 00"),
        written,
        data_reply(
            "00 00 C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 00 C0 00 "
            "01 C0 00"),
        hex::with_crc16("01 10 3F FD 00 00"),
        data_reply("03 00 00 40 04 00 13 00 00 40 04 00"),
        written,
        data_reply("D2 04 00 00 C0 00")};

 private:
    size_t step_ = 0;
    long long now_ = 0;
};

}  // namespace

TEST(Vkt7, KindAndDigitsOfEveryRegister) {
    // Number, kind, precision, and whether it is a float.
    constexpr char rows[] =
        "0:40 1:40 2:40 3:51 4:51 5:51 6:52 7:52 8:52 9:43 10:43 11:5- 12:54 13:54 14:40 15:40 16:40 17:54 "
        "18:54 19:4-f 20:4-f 21:4-f 22:40 23:40 24:40 25:56 26:56 27:56 28:55 29:55 30:55 31:43 32:43 33:5- "
        "34:57 35:57 36:40 39:57 40:57 41:4-f 42:4-f 43:4-f 77:4- 78:4- 81:4-f 82:4- ";
    std::string found;
    for (unsigned short number = 0; number <= 300; ++number) {
        if (vkt7rtu::RegisterRow const* const row = vkt7rtu::find_register(number)) {
            std::string const digits = row->precision < 0 ? "-" : std::to_string(row->precision);
            found += std::to_string(number) + ":" + std::to_string(row->kind) + digits + (row->is_float ? "f " : " ");
        }
    }
    EXPECT_EQ(found, rows);
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
    Heat heat(R"({"name": "v", "reg_addr": 3})");
    for (size_t step = 0; step < steps; ++step) {
        for (Row const& row : rows) {
            SCOPED_TRACE(testing::Message() << step << " " << row.reply);
            LogCapture const log(false);
            std::string const good = std::exchange(heat.replies.at(step), row.reply);
            EXPECT_THAT(heat.poll(), ElementsAre("v!"));
            EXPECT_EQ(heat.line().sent.size(), step + 1);
            EXPECT_THAT(log.entries(), ElementsAre(std::string("[3] [v] ") + row.line));
            heat.replies.at(step) = good;
            EXPECT_THAT(heat.poll(), ElementsAre("v=123.4"));
        }
    }
    LogCapture const log(false);
    heat.line().writes_fail = true;
    EXPECT_THAT(heat.poll(), ElementsAre("v!"));
    heat.line().writes_fail = false;
    heat.line().reads_raise = true;
    EXPECT_THAT(heat.poll(), ElementsAre("v!"));
    EXPECT_THAT(log.entries(), ElementsAre("[3] [v] ошибка записи в rs-порт, записано [-1] байт",
                                           "[3] [v] общая ошибка чтения/записи порта"));
    EXPECT_EQ(heat.port().errors, static_cast<int>(steps * std::size(rows) + 2));
}

TEST(Vkt7, RepliesThatLieOrLackTheRegister) {
    auto const with_count = [](std::string reply, char const* count) {
        return hex::with_crc16(reply.replace(6, 2, count).substr(0, reply.size() - 6));
    };
    constexpr char absent[] = "[3] [v] В перечне активных элементов адрес [0x03] не найден";
    Heat heat(R"({"name": "v", "reg_addr": 3})");
    std::tuple<size_t, std::string, char const*> const rows[] = {
        // Without precisions there is no point; a value of a size that no number has is none.
        {4, with_count(heat.replies[4], "00"), "v=1234"},
        {4, with_count(heat.replies[4], "FF"), "v=123.4"},
        {6, with_count(heat.replies[6], "FF"), "v=123.4"},
        {8, with_count(heat.replies[8], "00"), "v=0.0"},
        {8, with_count(heat.replies[8], "FF"), "v=0.0"},
        {6, data_reply("04 00 00 40 04 00 13 00 00 40 04 00"), absent},
        {6, data_reply(""), absent},
        {6, data_reply("03 00"), absent},
        {6, hex::with_crc16("01 03 00 03 00 00 40 04 00"), absent},
    };
    for (auto const& [step, reply, outcome] : rows) {
        LogCapture const log(false);
        std::string const good = std::exchange(heat.replies.at(step), reply);
        std::vector<std::string> const published = heat.poll();
        EXPECT_EQ(log.entries().empty() ? published : log.entries(), std::vector<std::string>{outcome}) << reply;
        EXPECT_EQ(published == std::vector<std::string>{"v!"}, outcome == absent);
        EXPECT_EQ(heat.line().sent.size(), outcome == absent ? 7U : steps);
        heat.replies.at(step) = good;
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
    std::string const texts =
        "00 00 C0 00 00 00 C0 00 02 00 AA BB C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 00 00 C0 00 ";
    std::vector<std::string> const contents = {texts + "07 C0 00 07 C0 00 07 C0 00",
                                               "03 00 00 40 02 00 03 00 00 40 02 00", "D2 04 C0 00",
                                               "D2 04 00 00 C0 00", ""};
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
        int digits;
        char const* text;
        char const* line = nullptr;
    };
    constexpr char cut[] = "[3] [v] ответ короче объявленного : значение НЕ получено.";
    constexpr char no_float[] = "[3] [v] ответ короче числа с плавающей точкой : значение НЕ получено.";
    Row const rows[] = {
        {"01 03 04 D2 04 C0 00 12 34", plain, 0, "1234"},
        {"01 03 04 D2 04 C0 00 12 34", plain, 2, "12.34"},
        {"01 03 04 05 00 C0 00 12 34", plain, 2, "0.05"},
        {"01 03 04 0C 00 C0 00 12 34", plain, 2, ".12"},
        {"01 03 04 0C 00 C0 00 12 34", plain, 3, "0.012"},
        {"01 03 04 FF FF C0 00 12 34", plain, 1, "6553.5"},
        {"01 03 06 FF FF FF FF C0 00 12 34", plain, 0, "4294967295"},
        {"01 03 05 01 02 03 C0 00 12 34", plain, 0, ""},
        {"01 03 05 01 02 03 C0 00 12 34", plain, 2, "0.00"},  // a size that no number has
        {"01 03 02 C0 00 12 34", plain, 0, ""},
        {"01 03 04 00 00 FF FF 12 34", plain, 2, "0.00"},  // the flags decide nothing
        {"01 03 00 12 34", plain, 2, "0.00"},
        {"01 03 01 D2 12 34", plain, 2, "0.00"},
        {"01 03 FF D2 04 00 00 12 34", plain, 2, "0.00"},
        {"01 03 04 D2 12 34", plain, 2, "", cut},
        {"01 03 06 D2 04 00 12 34", plain, 2, "", cut},
        {"01 03 06 D2 04 00 00 12 34", plain, 2, "12.34"},
        {"01 03 06 00 00 C0 3F C0 00 12 34", fraction, 2, "1.500000"},
        {"01 03 07 00 00 C0 BF 99 C0 00 12 34", fraction, 2, "-1.500000"},
        {"01 03 06 00 00 C0 7F C0 00 12 34", fraction, 2, "nan"},
        {"01 03 04 00 00 C0 3F 12 34", fraction, 2, "1.500000"},
        {"01 03 00 00 00 C0 3F 12 34", fraction, 2, "1.500000"},
        {"01 03 06 00 00 C0 12 34", fraction, 2, "", no_float},
    };
    for (Row const& row : rows) {
        LogCapture const log(false);
        EXPECT_EQ(Decoder::value(log_param, bytes(row.frame), row.row, row.digits), row.text) << row.frame;
        EXPECT_EQ(log.entries(), row.line != nullptr ? std::vector<std::string>{row.line} : std::vector<std::string>());
    }
    // More than sixteen properties, and fewer.
    EXPECT_EQ(
        Decoder::precisions(log_param, bytes(data_reply(texts + "01 C0 00 02 C0 00 03 C0 00 04 C0 00 05 C0 00 06 C0 00 "
                                                                "07 C0 00 08 C0 00 09 C0 00 09 C0 00"))),
        (Decoder::Precisions{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(Decoder::precisions(log_param, bytes(data_reply(texts + "03 C0 00 04"))), (Decoder::Precisions{3, 4}));
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

TEST(Vkt7, AFaultThatNothingExplainsTouchesTheConfiguration) {
    TempFolder const folder;
    cfg_name = folder.write("driver.json", "{}");
    auto const long_ago = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    std::filesystem::last_write_time(cfg_name, long_ago);
    LogCapture const log(false);
    Heat heat(R"({"name": "v", "type": "vkt7-rtu", "reg_addr": 3, "reg_type": "input-bit",
                  "bh_list": [{"name": "x", "offset": 1}]})");
    EXPECT_THAT(heat.poll(), IsEmpty()) << "its bits have topics of their own";
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

    EXPECT_FALSE(heat.calculator().poll_param(nullptr));
    xCommon::ByteList out;
    EXPECT_THROW(pdu::read_data(out, 1, nullptr), std::exception);
    EXPECT_THAT([&] { pdu::write_values(out, 1, nullptr, 4); },
                testing::ThrowsMessage<std::exception>("pdu::write_values : param == (nil)"));
    EXPECT_TRUE(out.empty());
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
        heat.port().line_released = false;
        std::string topic = "/devices/heat_1/controls/" + std::string(row.control);
        std::string payload = row.payload;
        EXPECT_EQ(heat.calculator().ProcMessage(topic, payload), row.taken) << topic;
        EXPECT_EQ(heat.line().is_open(), !row.taken) << topic;
        EXPECT_EQ(heat.port().line_released, row.taken) << "the next device finds it open";
        EXPECT_EQ(log.count("[4] [heat_1] ProcMessage : " + topic + " = " + payload + "."), 1);
    }
    EXPECT_EQ(log.count("[3] [b] значение 7 нельзя писать в бит x."), 1);
    EXPECT_THAT(heat.line().sent, IsEmpty());
}
