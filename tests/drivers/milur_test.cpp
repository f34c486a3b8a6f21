// Milur meters: frames, values and the dialogue, against scripts of requests and replies.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/process.h"
#include "drivers/milur/device.h"
#include "drivers/milur/pdu.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"
#include "support/sample_config.h"

using milur::c_param;
using milur::pdu;
using testing::ElementsAre;

namespace {

constexpr char open_request[] = "05 08 00 5C A7 31 E2 0D 9B E6 B2";
constexpr char opened_reply[] = "05 08 00 66 01";
constexpr char close_request[] = "05 09 01 A6 51";
constexpr char ask[] = "05 01 20 61 89";
constexpr char answer[] = "05 01 20 05 00 09 00 C8 8A";
constexpr char voltage[] = R"({"name": "v", "object_id": 32, "value_type": "u24"})";

/// Meter 5 that lets itself be opened and closed, and has 2304 as its object 32.
class Milur : public DriverRig {
 public:
    Milur()
        : DriverRig(std::string(R"({"name": "m", "type": "milur", "sid": 5, "poll_interval": 0, "params": [)") +
                    voltage + "]}") {
        line().script.on(open_request, opened_reply).on(close_request, close_request).on(ask, answer);
    }

    milur::dev& meter() { return dev<milur::dev>(); }
};

c_param param(std::string const& keys) {
    Json::Value node = sample::json(R"({"name": "v", "object_id": 1, )" + keys + "}");
    return c_param(nullptr, node);
}

}  // namespace

TEST(MilurConfig, KeysAndFaults) {
    LogCapture const log;
    DriverRig rig(R"({"name": "a", "type": "milur"}, {"name": "b", "type": "milur", "sid": 1},
                     {"name": "c", "type": "milur", "sid": "0x105", "templ": "away", "params": [
                        {"name": "no"}, {"name": "minus", "object_id": -1}, {"name": "most", "object_id": 4294967295},
                        {"name": "most", "object_id": -7}, {"name": "v", "object_id": 2, "value_type": "u16"},
                        {"name": "v", "object_id": 288, "value_type": "u24", "unit": "V"}]})");
    EXPECT_TRUE(log.has("milur::c_dev::ctor : #a : не указан аргумент 'sid'."));
    EXPECT_TRUE(log.has("milur::c_dev::ctor : #b_1 : устройство не содержит ни одного параметра."));
    EXPECT_TRUE(log.has("[4] [c_261] milur::c_dev::ctor : загрузка шаблона : away."));
    EXPECT_TRUE(log.has("[3] [c_261] ошибка при обработке шаблона 'away'."));
    EXPECT_TRUE(log.has("milur::c_param::ctor : no : не указан атрибут 'object_id'."));
    EXPECT_EQ(log.count("исключение при парсинге элемента : minus : недопустимое значение ключа 'object_id'"), 1);
    EXPECT_EQ(log.count("исключение при парсинге элемента : most : недопустимое значение ключа 'object_id'"), 1);
    EXPECT_EQ(rig.param<c_param>().object_id, 4294967295U);
    EXPECT_EQ(rig.param<c_param>(1).object_id, 288U);
    EXPECT_EQ(rig.param<c_param>(1).unit, "V");
    EXPECT_EQ(rig.dev<milur::dev>().get_device_name(), "c_261");
    // Low bytes of address and object on the wire, and in the comparison.
    rig.line().script.on(ask, answer);
    EXPECT_TRUE(rig.dev<milur::dev>().poll_param(&rig.param<c_param>(1)));
    EXPECT_THAT(rig.published(), ElementsAre("v=2304"));
    Json::Value node = sample::json(R"({"name": "m"})");
    EXPECT_THROW(milur::c_dev(nullptr, node), std::exception);
}

TEST(MilurValue, OfEachWord) {
    struct Row {
        char const* type;
        char const* data;
        char const* text;
    };
    constexpr char short_buffer[] = "milur::getValueFromBuf : v # буфер слишком мал для значения.";
    Row const rows[] = {
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
    for (Row const& row : rows) {
        c_param const p = param(R"("value_type": ")" + std::string(row.type) + "\"");
        hex::Bytes const data = hex::bytes(row.data);
        std::string text;
        try {
            text = p.getValueFromBuf(data.data(), static_cast<int>(data.size()));
        } catch (std::exception const& e) {
            text = e.what();
        }
        EXPECT_EQ(text, row.text) << row.type << " of " << row.data;
    }
}

TEST(MilurPdu, CodesOfARefusal) {
    struct Row {
        char const* reply;
        int code;
        char const* text;
    };
    Row const rows[] = {{"05 81 00 00", 0, "Ok"},
                        {"05 81 01 00", 1, "Некорректный идентификатор функции"},
                        {"05 81 05 00", 5, "Запрос принят, начата обработка"},
                        {"05 81 08 00", 8, "Сеанс связи закрыт"},
                        {"05 81 0D 00", 13, "Неверный пароль"},
                        {"05 81 0E 00", 14, "Не задано расписание управления освещением"},
                        {"05 81 0F 00", 15, "Получен мусор"},
                        {"05 81 FF 00", 15, "Получен мусор"},
                        {"05 81 08", 15, ""},
                        {"04 81 08 00", 15, ""}};
    c_param const node = param(R"("value_type": "u16")");
    for (Row const& row : rows) {
        LogCapture const log;
        hex::Bytes const reply = hex::bytes(row.reply);
        EXPECT_EQ(pdu::parse_error(reply.data(), static_cast<int>(reply.size()), 5, &node), row.code) << row.reply;
        std::vector<std::string> expected;
        if (*row.text != '\0') {
            expected.push_back(std::string("[3] [v] milur::parse_error : операция НЕ выполнена : ") + row.text + ".");
        }
        EXPECT_EQ(log.entries(), expected);
    }
    EXPECT_EQ(pdu::check_head(&node, 5, nullptr, 4), 0);
}

TEST(MilurDevice, OpeningAndClosing) {
    struct Row {
        char const* reply;
        char const* line;
    };
    Row const rows[] = {
        {"05 08 00 66 01", ""},
        {"05 08 77 26 27", ""},
        {"", "%s : ответ не получен."},
        {"05 08 00 66", "%s : ответ не получен."},
        {"06 08 00 96 01", "%s : не совпали SlaveId."},
        {"05 08 00 01 66", "%s : не совпали CRC."},
        {"05 88 0D 00 00", "milur::parse_error : операция НЕ выполнена : Неверный пароль."},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.reply);
        bool const good = *row.line == '\0';
        Milur rig;
        rig.line().script.on(open_request, row.reply).on(close_request, row.reply);
        auto const expected = [&](std::string const& step, std::vector<std::string> lines) {
            if (!good) {
                lines.push_back("[3] [m_5] " + xCommon::xString::Replace(row.line, "%s", step));
            } else if (step == "milur::Start") {
                lines.emplace_back("[4] [m_5] milur::Start : сеанс с устройством открыт.");
            }
            return lines;
        };
        rig.meter().opened = true;
        LogCapture log;
        EXPECT_EQ(rig.meter().Start(), good);
        EXPECT_EQ(rig.meter().opened, good);
        EXPECT_EQ(log.entries(), expected("milur::Start", {"[4] [m_5] milur::Start : открытие сессии."}));
        log.clear();
        rig.meter().opened = true;
        rig.meter().Stop();
        EXPECT_FALSE(rig.meter().opened);
        EXPECT_EQ(log.entries(), expected("milur::Stop", {"[4] [m_5] milur::Stop :закрытие сессии."}));
    }
}

TEST(MilurDevice, TheLongestReply) {
    Milur rig;
    std::string zeros;
    for (int byte = 0; byte < 250; ++byte) {
        zeros += " 00";
    }
    rig.line().script.on(ask, "05 01 20 FF 00 09 00" + zeros + " 42 C5");
    EXPECT_TRUE(rig.meter().poll_param(&rig.param<c_param>()));
    EXPECT_THAT(rig.published(), ElementsAre("v=2304"));
}

TEST(MilurDevice, FramesAreTracedUnderTheirLabels) {
    Milur rig;
    LogCapture const log(false);
    PH::IsPrintHex = true;
    rig.meter().Poll(1000000);
    PH::IsPrintHex = false;
    EXPECT_THAT(
        log.entries(),
        ElementsAre("[1] [p] milur::Stop : запрос : 05 09 01 A6 51", "[1] [p] milur::Stop : ответ : 05 09 01 A6 51",
                    "[1] [p] milur::Start : запрос : 05 08 00 5C A7 31 E2 0D 9B E6 B2",
                    "[1] [p] milur::Start : ответ : 05 08 00 66 01", "[1] [v] milur::get_response : начало опроса.",
                    "[1] [p] milur::get_response : запрос : 05 01 20 61 89",
                    "[1] [p] milur::get_response : заголовок ответа : 05 01 20 05",
                    "[1] [p] milur::get_response : ответ : 00 09 00 C8 8A"));
}
