// The Pulsar driver without a line: requests and responses as bytes, every parameter of both kinds of meter, and what
// its scenarios can't show of a failure.

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/process.h"
#include "ctl/line/frame_text.h"
#include "ctl/line/hex.h"
#include "drivers/pulsartcp/device.h"
#include "drivers/pulsartcp/pdu.h"
#include "foundation/xexception.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"
#include "support/sample_config.h"
#include "support/temp_folder.h"

using pulsartcp::c_dev;
using pulsartcp::c_param;
using pulsartcp::pdu;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string param(std::string const& name, int function, int number, std::string const& keys = "") {
    return R"({"name": ")" + name + R"(", "function": )" + std::to_string(function) + R"(, "parameter_number": )" +
           std::to_string(number) + keys + "}";
}

class Meter : public DriverRig {
 public:
    explicit Meter(std::string const& params, std::string const& answer = "")
        : DriverRig(R"({"name": "m", "type": "pulsar-tcp", "sid": 12345678, "delay": 1, "type_device": "water_meter",
                        "params": [)" +
                    params + "]}") {
        line().script.otherwise(Reply{.hex = answer});
    }

    bool poll() { return meter().poll_param(&param<c_param>()); }
    pulsartcp::dev& meter() { return dev<pulsartcp::dev>(); }
    c_dev& config() { return dynamic_cast<c_dev&>(*meter().cfg); }
};

}  // namespace

TEST(Pulsar, Requests) {
    Meter meter(param("a", 10, 0));
    auto* const any = &meter.param<c_param>();
    std::tuple<int, unsigned int, char const*> const rows[] = {
        {10, 0x1003, "12 34 56 78 0A 0C 03 10 EF BE 16 E2"}, {10, 0x51003, "12 34 56 78 0A 0C 03 10 EF BE 16 E2"},
        {1, 2, "12 34 56 78 01 0E 02 00 00 00 EF BE B4 F8"}, {1, 0x1234, "12 34 56 78 01 0E 34 12 00 00 EF BE 09 6D"},
        {4, 0x1234, "12 34 56 78 04 EF BE F0 58"},
    };
    for (auto const& [function, parameter, wanted] : rows) {
        xCommon::ByteList frame;
        pdu::read(frame, 12345678, static_cast<unsigned char>(function), parameter, 0xBEEF, any);
        EXPECT_EQ(hex::text({frame.data(), frame.size()}), wanted);
    }
    xCommon::ByteList frame;
    EXPECT_THROW(pdu::read(frame, 1, 10, 0, 0, nullptr), xCommon::xException);

    for (auto const& [number, packed] : std::map<unsigned int, unsigned int>{
             {0, 0}, {5, 5}, {99999999, 0x99999999}, {123456789, 0x23456789}, {4294967295, 0x94967295}}) {
        EXPECT_EQ(pdu::bcd_msb(number), packed) << number;
    }
    std::set<unsigned short> ids;
    for (int call = 0; call < 100; ++call) {
        ids.insert(pdu::random_id());
    }
    EXPECT_GT(ids.size(), 90U);
    EXPECT_GT(*ids.rbegin(), 0xFF) << "both bytes are drawn";
}

TEST(Pulsar, EveryParameterOfBothKinds) {
    constexpr char noise[] = "Обнаружено множество помех либо слишком коротких импульсов\n";
    std::string const three_noises = "\n" + std::string(noise) + noise + noise;
    constexpr char pulse_faults[] =
        "\nПроизошел сброс всех значений счетчиков\nРазрядилась батарея питания\nОшибка чтения/записи EEPROM\n"
        "Неисправность трансивера (радио)\nНеисправность часового кварца\n";
    constexpr char water_faults[] =
        "\nПроизошел сброс даты, времени, всех значений счетчиков\nОшибка чтения/записи FLASH\n"
        "Ошибка чтения/записи EEPROM\nРазрядилась батарея питания\nЗамкнут геркон\nНеисправность модуля RF\n"
        "Неисправность часового кварца\nОбрыв/замыкание дроселя 1\nОбрыв/замыкание дроселя 2\n"
        "Ошибка направления потока\nЗафиксирован расход ниже настраиваемого порога (параметр 0x0125)\n"
        "Зафиксирован расход выше настраиваемого порога (параметр 0x0126)\n";
    /// `payload` is just as long as its form wants it; `cut` is the text when its last byte is missing.
    struct Row {
        std::string kinds;  ///< 'p': pulse counter, 'w': water meter
        int function;
        std::vector<int> numbers;
        char const* payload;
        std::string text;
        char const* cut;
    };
    std::vector<Row> const rows = {
        {"wp", 4, {0}, "11", "read_datatime", "read_datatime"},
        {"p", 1, {1, 2, 3}, "00 00 C0 3F", "1.500000", "0.000000"},
        {"w", 1, {1, 2}, "00 00 C0 3F", "1.500", "0.000"},
        {"w", 10, {0x0125, 0x0126}, "00 00 C0 3F", "1.5", "0.0"},
        {"p", 10, {3, 4, 5}, "CD CC 4C BD", "-0.050000", "0.000000"},
        {"w", 1, {1}, "00 00 80 7F", "inf", "0.000"},
        {"wp", 10, {0}, "FE FF", "65534", "0"},
        {"p", 10, {8, 9, 0x0C, 0x0E, 0x13}, "01 80", "32769", "0"},
        {"w", 10, {0x11, 0x12, 0x40}, "01 80", "32769", "0"},
        {"wp", 10, {1}, "FF FF FF FF", "4294967295", "0"},
        {"p", 10, {0x17, 0x18, 0x19}, "78 56 34 12", "305419896", "0"},
        {"w", 10, {0x13, 0x0204, 0x0205}, "78 56 34 12", "305419896", "0"},
        {"p", 10, {0x12, 0x20}, "FF", "-1", "0"},
        {"w", 10, {0x0206}, "80", "-128", "0"},
        {"wp", 10, {0x1000, 0x1001, 0x1002, 0x1112, 0x1113, 0x1120}, "FF", "255", "0"},
        {"wp", 10, {0x1121, 0x1122, 0x1130, 0x1131, 0x1140, 0x1141}, "FF", "255", "0"},
        {"w", 10, {0x1002}, "01", "1", "0"},
        {"p", 10, {0x24}, "80", "128", "0"},
        {"w", 10, {0x0207}, "80", "128", "0"},
        {"wp", 10, {0x1003}, "FF FF", "-1", "0"},
        {"p", 10, {0x0B}, "80", "Да", "Нет"},
        {"w", 10, {3}, "01", "Да", "Нет"},
        {"w", 10, {3}, "00", "Нет", "Нет"},
        {"p", 10, {2}, "01 00 02 00 FF FF 04 05", "1-2.65535-4.5", ""},
        {"w", 10, {2}, "01 00 02 00 FF FF 04 05", "1-2.65535-4.5", "0-0.0-0.0"},
        {"wp", 10, {0x10F0}, "01 02 FF FF 02 05 FF FF", "1:2:1:5:255", ""},
        {"wp", 10, {0x10F0}, "01 02 FF FF 01 05 06 FF", "1:2:0:5:6", ""},
        {"wp", 10, {0x11F0}, "02 FF 02 03 04 05 FF FF", "1:2:3:4:5:255", ""},
        {"wp", 10, {0x11F0}, "FD FF 02 03 04 05 06 FF", "0:2:3:4:5:6", ""},
        {"wp", 10, {0x11F1}, "FF FF FF FF FE FF 07 FF", "4294967295:-2:7:255", ""},
        {"wp", 10, {0x1100, 0x1101}, "01 02 03 04 05 06 07 AB", "ab 07 06 05 04 03 02 01", ""},
        {"wp", 10, {0x1111}, "01 02 FF 09", "1: 2: 255", ""},
        {"wp", 10, {0x1110}, "00", "EU868", ""},
        {"wp", 10, {0x1110}, "01", "RU864", ""},
        {"wp", 10, {0x1110}, "07", "error", ""},
        {"w", 10, {0x0200}, "01", "Широкополосный", ""},
        {"w", 10, {0x0200}, "02", "Узкополосный", ""},
        {"w", 10, {0x0200}, "03", "Двухполосный", ""},
        {"w", 10, {0x0200}, "00", "", ""},
        {"w", 10, {0x0200}, "04", "", ""},
        {"p", 10, {0x0D}, "00 00", "Ошибок не обнаружено", "\n"},
        {"p", 10, {0x0D}, "20 00", "\n", "\n"},
        {"p", 10, {0x0D}, "E0 F8", "\n", "\n"},
        {"p", 10, {0x0D}, "00 07", three_noises, "\n"},
        {"p", 10, {0x0D}, "1F 00", pulse_faults, "\n"},
        {"w", 10, {0x10}, "00 00", "Ошибок не обнаружено", "\n"},
        {"w", 10, {0x10}, "00 F0", "\n", "\n"},
        {"w", 10, {0x10}, "FF 0F", water_faults, "\n"},
    };
    pulsartcp::Handlers handlers;
    pdu::init_parameter_handlers(handlers);
    std::set<std::tuple<char, int, int>> seen;
    for (Row const& row : rows) {
        for (char const kind : row.kinds) {
            for (int const number : row.numbers) {
                SCOPED_TRACE(kind + (" " + std::to_string(row.function) + " " + std::to_string(number)));
                seen.insert({kind, row.function, number});
                auto const& handler = handlers.at(kind == 'p' ? "pulse_counter" : "water_meter")
                                          .at(static_cast<unsigned char>(row.function))
                                          .at(static_cast<unsigned short>(number));
                auto const text = [&handler](hex::Bytes payload) { return handler(payload); };
                hex::Bytes bytes = hex::bytes(row.payload);
                EXPECT_EQ(text(bytes), row.text);
                EXPECT_EQ(text({bytes.begin(), bytes.end() - 1}), row.cut);
                bytes.push_back(0x5A);
                // A surplus is passed over, except where all is turned round.
                bool const is_turned = number == 0x1100 || number == 0x1101;
                EXPECT_EQ(text(bytes), is_turned ? "5a " + row.text : row.text);
            }
        }
    }
    size_t known = 0;
    for (auto const& [kind, functions] : handlers) {
        for (auto const& [function, numbers] : functions) {
            known += numbers.size();
        }
    }
    EXPECT_EQ(known, seen.size()) << "a parameter that no row shows";
}

TEST(Pulsar, ResponsesThatAreRefused) {
    LogCapture const log;
    Meter meter(param("asked", 10, 0) + ", " + param("open", 10, 0x1003));
    c_dev& config = meter.config();
    auto* const open = &meter.param<c_param>(1);
    /// The request 0xBEEF of "open" waits.
    struct Row {
        char const* frame;
        int code;
        char const* reason;
    };
    Row const rows[] = {
        {"12 34 56 78 0A 09 EF BE 00", -2, "размер входного ответа меньше 10 байт : 9"},
        {"12", -2, "размер входного ответа меньше 10 байт : 1"},
        {"12 34 56 78 0A 0C FF FF EE BE {crc}", -3, "не найден идентификатор запроса : 48878"},
        {"12 34 56 78 0A 00 FF FF EF BE {crc}", -3, "не найден идентификатор запроса : -1"},
        {"12 34 56 78 0A 03 FF FF EF BE {crc}", -3, "не найден идентификатор запроса : -1"},
        {"12 34 56 78 0A 04 FF FF EF BE {crc}", -3, "не найден идентификатор запроса : 13330"},
        {"12 34 56 78 0A 0F FF FF EF BE {crc}", -3, "не найден идентификатор запроса : -1"},
        {"12 34 56 78 0A FF FF FF EF BE {crc}", -3, "не найден идентификатор запроса : -1"},
        {"12 34 56 79 0A 0C FF FF EF BE {crc}", -4, "не совпал андрес устройства : 12345679 c 12345678"},
        {"00 00 00 00 0A 0C FF FF EF BE {crc}", -4, "не совпал андрес устройства : 0 c 12345678"},
        {"12 34 56 78 00 0C 04 00 EF BE {crc}", -6, "отсутствует параметр : 0x04"},
        {"12 34 56 78 04 0C FF FF EF BE {crc}", -5, "не совпала входная функция : 4 c 10"},
        {"12 34 56 78 0A 0D FF FF 00 EF BE 00", -7, "не совпал размер кадра : 12 c 13"},
        {"12 34 56 78 0A 0E FF FF 00 00 EF BE", -7, "не совпал размер кадра : 12 c 14"},
        {"12 34 56 78 0A 0C FF FF EF BE 17 46", -8, "не совпали CRC : 5959 c 5958"},
        {"12 34 56 78 0A 0C FF FF EF BE {crc}", 0, ""},
        {"12 34 56 78 0A 0C FF FF EF BE 01 02 03 {crc}", 0, ""},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.frame);
        config.save_request = {{0xBEEF, open}};
        auto* asked = &meter.param<c_param>();
        pulsartcp::Findings found;
        // Just as long as what came, so that a sanitizer sees a read behind it.
        hex::Bytes frame = frame_text::reply(row.frame, {}, 0);
        frame.shrink_to_fit();
        EXPECT_EQ(pdu::check_frame(&config, asked, found, frame.data(), static_cast<int>(frame.size())), row.code);
        EXPECT_EQ(found.failure, row.code == 0 ? "" : std::string("ответ НЕ получен : ") + row.reason);
        bool const matched = row.code < -3 || row.code == 0;
        EXPECT_EQ(config.save_request.empty(), matched);
        EXPECT_EQ(asked == open, matched);
    }
    // Told by the dialogue, and there alone.
    for (char const* answer : {rows[2].frame, rows[14].frame}) {
        config.save_request = {{0xBEEF, open}};
        meter.line().script.otherwise(Reply{.hex = answer});
        meter.poll();
    }
    EXPECT_EQ(log.count("[3] [open] ответ НЕ получен : не совпали CRC"), 1);
    EXPECT_EQ(log.count("[4] [open] crc : 5959, received_crc : 5958"), 1);
    EXPECT_EQ(log.count("[4] [asked] id : 48878"), 1);
    EXPECT_EQ(log.count("[4] [asked] id : 48879"), 1) << "told ahead of the change to its own parameter";

    config.save_request = {{0, open}};
    auto* drawn = open;
    pulsartcp::Findings found;
    hex::Bytes zero = hex::bytes(hex::with_crc16("12 34 56 78 0A 0C FF FF 00 00"));
    EXPECT_EQ(pdu::check_frame(&config, drawn, found, zero.data(), 12), 0) << "a number like any other";

    // A parameter of function 0 can't be told from an error, and a meter without an address has none to compare.
    hex::Bytes frame = hex::bytes(hex::with_crc16("12 34 56 78 00 0C 0A 00 EF BE"));
    for (auto const& [sid, code] : {std::pair{12345678U, -6}, {0U, -4}}) {
        open->function = 0;
        config.sid = sid;
        config.save_request = {{0xBEEF, open}};
        std::fill_n(frame.begin(), sid == 0 ? 4 : 0, static_cast<unsigned char>(0));
        auto* asked = open;
        EXPECT_EQ(pdu::check_frame(&config, asked, found, frame.data(), 12), code);
    }
    c_param* none = nullptr;
    EXPECT_EQ(pdu::check_frame(&config, none, found, frame.data(), 12), -1);
    EXPECT_EQ(found.failure, "ответ НЕ получен : нулевой указатель _pulsartcp_param");
    auto* asked = open;
    EXPECT_EQ(pdu::check_frame(&config, asked, found, nullptr, 12), -1);
    EXPECT_EQ(found.failure, "ответ НЕ получен : нулевой указатель _frame");
    EXPECT_EQ(pdu::check_frame(nullptr, asked, found, frame.data(), 12), -1);
    EXPECT_EQ(found.failure, "ответ НЕ получен : нулевой указатель _cdev");
}

TEST(Pulsar, ErrorCodes) {
    for (auto const& [code, text] :
         std::map<int, std::string>{{1, "отсутствует запрашиваемый код функции : 0x01"},
                                    {2, "ошибка в битовой маске запроса : 0x02"},
                                    {3, "ошибочная длина запроса : 0x03"},
                                    {4, "отсутствует параметр : 0x04"},
                                    {5, "запись заблокирована, требуется авторизация : 0x05"},
                                    {6, "записываемое значение (параметр) находится вне заданного диапазона : 0x06"},
                                    {7, "отсутствует запрашиваемый тип архива : 0x07"},
                                    {8, "превышение максимального количества архивных значений за один пакет : 0x08"},
                                    {0, "неизвестная ошибка : 0x00"},
                                    {10, "неизвестная ошибка : 0x0A"},
                                    {255, "неизвестная ошибка : 0xFF"}}) {
        EXPECT_EQ(pdu::print_error(static_cast<unsigned char>(code)), "ответ НЕ получен : " + text);
    }
}

TEST(Pulsar, PayloadsAreCutByTheLengthByte) {
    for (auto const& [frame, payload] :
         std::map<std::string, std::string>{{"", ""},
                                            {"01 02 03 04 05", ""},
                                            {"01 02 03 04 05 FF", ""},
                                            {"01 02 03 04 05 00 A1 A2 A3 A4", ""},
                                            {"01 02 03 04 05 09 A1 A2 A3 A4", ""},
                                            {"01 02 03 04 05 0A A1 A2 A3 A4", ""},
                                            {"01 02 03 04 05 0C A1 A2 A3 A4 A5 A6", "A1 A2"},
                                            {"01 02 03 04 05 0C A1 A2 A3 A4 A5 A6 A7 A8", "A1 A2"},
                                            {"01 02 03 04 05 FF A1 A2 A3", "A1 A2 A3"}}) {
        hex::Bytes bytes = hex::bytes(frame);
        pdu::cut_payload(bytes);
        EXPECT_EQ(hex::text(bytes), payload) << frame;
    }
    // From end to end: the id of this length lies in the length byte itself.
    Meter meter(param("v", 10, 0), "12 34 56 78 0A 09 55 00 00 00 {crc}");
    meter.config().save_request[0x5509] = &meter.param<c_param>();
    EXPECT_TRUE(meter.poll());
    EXPECT_THAT(meter.published(), ElementsAre("v=0"));
}

TEST(Pulsar, AnIdThatIsOpenAlreadyStaysWithWhomItBelongsTo) {
    Meter meter(param("a", 10, 0, R"(, "rto": 30, "sto": 40)") + ", " + param("b", 10, 0x1003),
                "12 34 56 78 0A 0C FF FF {-4..-3} {crc}");
    auto& open = meter.config().save_request;
    for (int id = 0; id <= 0xFFFF; ++id) {
        open[static_cast<unsigned short>(id)] = &meter.param<c_param>(1);
    }
    EXPECT_TRUE(meter.poll());
    EXPECT_THAT(meter.published(), ElementsAre("b=-1"));
    EXPECT_EQ(open.size(), 0xFFFFU);
    EXPECT_EQ(meter.line().timeouts.front(), "30 40");
    EXPECT_FALSE(meter.meter().poll_param(nullptr));
    std::string topic = "/devices/m_12345678/controls/a/on";
    EXPECT_FALSE(meter.meter().ProcMessage(topic, topic)) << "nothing is written, the next device is asked";
}

TEST(Pulsar, FailuresTouchTheConfiguration) {
    TempFolder const folder;
    LogCapture const log;
    Meter meter(param("v", 10, 0));
    meter.line().writes_fail = true;
    EXPECT_FALSE(meter.poll());
    EXPECT_THAT(meter.published(), IsEmpty());
    EXPECT_EQ(log.count("[3] [v] исключение при опросе : tcp_write : size = -1"), 1);
    EXPECT_FALSE(log.has("Выходной код")) << "no file is known, none is touched";

    meter.line().writes_fail = false;
    EXPECT_FALSE(meter.poll());
    EXPECT_THAT(meter.config().save_request, IsEmpty());
    cfg_name = folder.write("a file.json", "{}");
    std::filesystem::file_time_type const long_ago{};
    std::filesystem::last_write_time(cfg_name, long_ago);
    EXPECT_FALSE(meter.poll());
    EXPECT_NE(std::filesystem::last_write_time(cfg_name), long_ago);
    cfg_name.clear();
    EXPECT_EQ(log.count("[3] [v] Выходной код : 0"), 1);
    EXPECT_TRUE(meter.line().is_open());
}

TEST(Pulsar, ASweepAsksForEverythingOnceAndHangsUp) {
    LogCapture const log;
    Meter meter(param("slow", 10, 0, R"(, "poll_interval": 9999)") + ", " + param("bad", 10, 0x7777),
                "12 34 56 78 0A 0C 07 00 {-4..-3} {crc}");
    meter.line().close();
    meter.meter().Poll(1000);
    EXPECT_THAT(meter.published(), ElementsAre("slow=7", "bad!"));
    EXPECT_FALSE(meter.line().is_open());
    EXPECT_EQ(meter.meter().polls, 2);
    EXPECT_EQ(meter.meter().errors, 1);

    meter.meter().Poll(1059);
    EXPECT_THAT(meter.published(), IsEmpty());
    EXPECT_FALSE(meter.line().is_open());
    EXPECT_EQ(log.count("[4] [m_12345678] \nДЛИТЕЛЬНОСТЬ ОПРОСА : 59\nnow : 1059\nthis->LastPoll : 1000\n"
                        "cbase->poll_interval : 60"),
              1);
}

TEST(Pulsar, Configuration) {
    Meter meter(R"({"name": "v", "function": 1, "parameter_number": "0x10002"}, {"name": "v", "parameter_number": 7})");
    EXPECT_EQ(meter.param<c_param>().function, 1);
    EXPECT_EQ(meter.param<c_param>().parameter_number, 2U) << "16 bits of it, and the overlay changes nothing";
    EXPECT_EQ(meter.meter().get_device_name(), "m_12345678");
    Meter plain(param("v", 266, 7));
    EXPECT_EQ(plain.param<c_param>().function, 10) << "the low byte";
    Json::Value node = sample::json(R"({"name": "m", "type": "pulsar-tcp"})");
    EXPECT_THAT([&] { c_dev(nullptr, node); }, testing::ThrowsMessage<std::exception>("#m : ctor : не указан порт."));
}
