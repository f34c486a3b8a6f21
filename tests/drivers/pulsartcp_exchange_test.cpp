// The Pulsar driver without a line: requests and responses as bytes, every parameter of both kinds of meter, late
// answers, and what happens when an exchange fails.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/process.h"
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
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr char address[] = "12 34 56 78 ";

/// The answer to the request with this id, given as it goes over the wire.
std::string response(int function, std::string const& payload, std::string const& id) {
    hex::Bytes bytes = {static_cast<unsigned char>(function),
                        static_cast<unsigned char>(10 + hex::bytes(payload).size())};
    return hex::with_crc16(address + hex::text(bytes) + payload + id);
}

std::string param(std::string const& name, int function, int number, std::string const& keys = "") {
    return R"({"name": ")" + name + R"(", "function": )" + std::to_string(function) + R"(, "parameter_number": )" +
           std::to_string(number) + keys + "}";
}

class Meter : public DriverRig {
 public:
    using Answer = std::function<std::string(std::string const& id)>;

    explicit Meter(std::string const& params, std::string const& kind = "water_meter")
        : DriverRig(R"({"name": "m", "type": "pulsar-tcp", "sid": 12345678, "delay": 1, "type_device": ")" + kind +
                    R"(", "params": [)" + params + "]}") {
        line().script.otherwise([this](std::span<unsigned char const> request) -> Reply {
            id = hex::text(request.subspan(request.size() - 4, 2));
            return {.hex = answer ? answer(id) : ""};
        });
    }

    bool poll(size_t index = 0) { return meter().poll_param(&param<c_param>(index)); }
    pulsartcp::dev& meter() { return dev<pulsartcp::dev>(); }
    c_dev& config() { return dynamic_cast<c_dev&>(*meter().cfg); }

    Answer answer;
    std::string id;  ///< of the last request
};

/// A poll that raises ends in a recovery of three seconds and a touch of this file, which touch makes.
class NamedConfiguration {
 public:
    NamedConfiguration() { cfg_name = path(); }
    ~NamedConfiguration() { cfg_name.clear(); }
    NamedConfiguration(NamedConfiguration const&) = delete;
    NamedConfiguration& operator=(NamedConfiguration const&) = delete;
    std::string path() const { return folder_.file("a file.json"); }

 private:
    TempFolder folder_;
};

}  // namespace

TEST(Pulsar, Requests) {
    Meter meter(param("a", 10, 0));
    auto* const any = &meter.param<c_param>();
    struct Row {
        unsigned int sid;
        unsigned char function;
        unsigned int parameter;
        char const* frame;
    };
    for (Row const& row : {Row{12345678, 10, 0x1003, "12 34 56 78 0A 0C 03 10 EF BE 16 E2"},
                           {12345678, 10, 0x51003, "12 34 56 78 0A 0C 03 10 EF BE 16 E2"},
                           {12345678, 1, 2, "12 34 56 78 01 0E 02 00 00 00 EF BE B4 F8"},
                           {12345678, 1, 0x1234, "12 34 56 78 01 0E 34 12 00 00 EF BE 09 6D"},
                           {12345678, 4, 0x1234, "12 34 56 78 04 EF BE F0 58"}}) {
        xCommon::ByteList frame;
        pdu::read(frame, row.sid, row.function, row.parameter, 0xBEEF, any);
        EXPECT_EQ(hex::text(std::vector(frame.begin(), frame.end())), row.frame);
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
    /// `payload` is just as long as its form wants it; `cut` is the text when its last byte is missing.
    struct Row {
        std::vector<std::string> kinds;
        int function;
        std::vector<int> numbers;
        std::string payload;
        std::string text;
        std::string cut;
    };
    std::vector<std::string> const both = {"pulse_counter", "water_meter"};
    std::vector<std::string> const pulse = {"pulse_counter"};
    std::vector<std::string> const water = {"water_meter"};
    std::vector<Row> const rows = {
        {both, 4, {0}, "11", "read_datatime", "read_datatime"},
        {pulse, 1, {1, 2, 3}, "00 00 C0 3F", "1.500000", "0.000000"},
        {water, 1, {1, 2}, "00 00 C0 3F", "1.500", "0.000"},
        {water, 10, {0x0125, 0x0126}, "00 00 C0 3F", "1.5", "0.0"},
        {pulse, 10, {3, 4, 5}, "CD CC 4C BD", "-0.050000", "0.000000"},
        {water, 1, {1}, "00 00 80 7F", "inf", "0.000"},
        {both, 10, {0}, "FE FF", "65534", "0"},
        {pulse, 10, {8, 9, 0x0C, 0x0E, 0x13}, "01 80", "32769", "0"},
        {water, 10, {0x11, 0x12, 0x40}, "01 80", "32769", "0"},
        {both, 10, {1}, "FF FF FF FF", "4294967295", "0"},
        {pulse, 10, {0x17, 0x18, 0x19}, "78 56 34 12", "305419896", "0"},
        {water, 10, {0x13, 0x0204, 0x0205}, "78 56 34 12", "305419896", "0"},
        {pulse, 10, {0x12, 0x20}, "FF", "-1", "0"},
        {water, 10, {0x0206}, "80", "-128", "0"},
        {both,
         10,
         {0x1000, 0x1001, 0x1002, 0x1112, 0x1113, 0x1120, 0x1121, 0x1122, 0x1130, 0x1131, 0x1140, 0x1141},
         "FF",
         "255",
         "0"},
        {water, 10, {0x1002}, "01", "1", "0"},
        {pulse, 10, {0x24}, "80", "128", "0"},
        {water, 10, {0x0207}, "80", "128", "0"},
        {both, 10, {0x1003}, "FF FF", "-1", "0"},
        {pulse, 10, {0x0B}, "80", "Да", "Нет"},
        {water, 10, {3}, "01", "Да", "Нет"},
        {water, 10, {3}, "00", "Нет", "Нет"},
        {pulse, 10, {2}, "01 00 02 00 FF FF 04 05", "1-2.65535-4.5", ""},
        {water, 10, {2}, "01 00 02 00 FF FF 04 05", "1-2.65535-4.5", "0-0.0-0.0"},
        {both, 10, {0x10F0}, "01 02 FF FF 02 05 FF FF", "1:2:1:5:255", ""},
        {both, 10, {0x10F0}, "01 02 FF FF 01 05 06 FF", "1:2:0:5:6", ""},
        {both, 10, {0x11F0}, "02 FF 02 03 04 05 FF FF", "1:2:3:4:5:255", ""},
        {both, 10, {0x11F0}, "FD FF 02 03 04 05 06 FF", "0:2:3:4:5:6", ""},
        {both, 10, {0x11F1}, "FF FF FF FF FE FF 07 FF", "4294967295:-2:7:255", ""},
        {both, 10, {0x1100, 0x1101}, "01 02 03 04 05 06 07 AB", "01 02 03 04 05 06 07 ab", ""},
        {both, 10, {0x1111}, "01 02 FF 09", "1: 2: 255", ""},
        {both, 10, {0x1110}, "00", "EU868", ""},
        {both, 10, {0x1110}, "01", "RU864", ""},
        {both, 10, {0x1110}, "07", "error", ""},
        {water, 10, {0x0200}, "01", "Широкополосный", ""},
        {water, 10, {0x0200}, "02", "Узкополосный", ""},
        {water, 10, {0x0200}, "03", "Двухполосный", ""},
        {water, 10, {0x0200}, "00", "", ""},
        {water, 10, {0x0200}, "04", "", ""},
        {pulse, 10, {0x0D}, "00 00", "Ошибок не обнаружено", "\n"},
        {pulse, 10, {0x0D}, "20 00", "\n", "\n"},
        {pulse, 10, {0x0D}, "E0 F8", "\n", "\n"},
        {pulse, 10, {0x0D}, "00 07", three_noises, "\n"},
        {pulse,
         10,
         {0x0D},
         "1F 00",
         "\nПроизошел сброс всех значений счетчиков\nРазрядилась батарея питания\nОшибка чтения/записи EEPROM\n"
         "Неисправность трансивера (радио)\nНеисправность часового кварца\n",
         "\n"},
        {water, 10, {0x10}, "00 00", "Ошибок не обнаружено", "\n"},
        {water, 10, {0x10}, "00 F0", "\n", "\n"},
        {water,
         10,
         {0x10},
         "FF 0F",
         "\nПроизошел сброс даты, времени, всех значений счетчиков\nОшибка чтения/записи FLASH\n"
         "Ошибка чтения/записи EEPROM\nРазрядилась батарея питания\nЗамкнут геркон\nНеисправность модуля RF\n"
         "Неисправность часового кварца\nОбрыв/замыкание дроселя 1\nОбрыв/замыкание дроселя 2\n"
         "Ошибка направления потока\nЗафиксирован расход ниже настраиваемого порога (параметр 0x0125)\n"
         "Зафиксирован расход выше настраиваемого порога (параметр 0x0126)\n",
         "\n"},
    };
    std::map<std::string, std::set<std::pair<int, int>>> seen;
    for (Row const& row : rows) {
        std::string const cut = row.payload.substr(0, row.payload.size() - 2);
        for (std::string const& kind : row.kinds) {
            for (int const number : row.numbers) {
                SCOPED_TRACE(kind + " " + std::to_string(row.function) + " " + std::to_string(number));
                seen[kind].insert({row.function, number});
                Meter meter(param("v", row.function, number), kind);
                std::vector<std::pair<std::string, std::string>> exchanges = {{row.payload, row.text}, {cut, row.cut}};
                if (number < 0x1100 || number > 0x1101) {
                    exchanges.emplace_back(row.payload + " 5A A5", row.text);  // a surplus is passed over
                }
                for (auto const& [payload, text] : exchanges) {
                    meter.answer = [&](std::string const& id) { return response(row.function, payload, id); };
                    EXPECT_TRUE(meter.poll());
                    EXPECT_THAT(meter.published(), ElementsAre("v=" + text));
                }
            }
        }
    }
    Meter meter(param("v", 10, 0));
    pdu::init_parameter_handlers(meter.config().handlers);
    for (auto const& [kind, functions] : meter.config().handlers) {
        size_t known = 0;
        for (auto const& [function, numbers] : functions) {
            known += numbers.size();
        }
        EXPECT_EQ(known, seen[kind].size()) << kind << " has a parameter that no row shows";
    }
}

TEST(Pulsar, HexadecimalIsLoggedTurnedRoundAndPublishedAsItCame) {
    LogCapture const log;
    Meter meter(param("v", 10, 0x1100));
    meter.answer = [](std::string const& id) { return response(10, "01 02 03 04 05 06 07 08 09", id); };
    EXPECT_TRUE(meter.poll());
    EXPECT_THAT(meter.published(), ElementsAre("v=01 02 03 04 05 06 07 08 09"));
    EXPECT_EQ(log.count("[4] [v] ВЫВОД РЕЗУЛЬТАТА : 09 08 07 06 05 04 03 02 01"), 1);
    EXPECT_EQ(log.count("[1] dev_pulsar_tcp::get_response : запрос : 12 34 56 78 0A 0C 00 11 " + meter.id), 1);
    EXPECT_EQ(log.count("[4] [v] \nbr.err = \nbr.is_crc_ok = false\nbr.is_ok = true\nbr.result = 01 02"), 1);
}

TEST(Pulsar, ResponsesThatAreRefused) {
    LogCapture const log;
    Meter meter(param("asked", 10, 0) + ", " + param("open", 10, 0x1003));
    c_dev& config = meter.config();
    auto* const open = &meter.param<c_param>(1);
    /// The request 0xBEEF of "open" waits; `crc`: one is put behind the frame.
    struct Row {
        char const* frame;
        bool crc;
        int code;
        char const* reason;
    };
    constexpr bool raw = false;
    Row const rows[] = {
        {"12 34 56 78 0A 09 EF BE 00", raw, -2, "размер входного ответа меньше 10 байт : 9"},
        {"12", raw, -2, "размер входного ответа меньше 10 байт : 1"},
        {"12 34 56 78 0A 0C FF FF EE BE", true, -3, "не найден идентификатор запроса : 48878"},
        {"12 34 56 78 0A 00 FF FF EF BE", true, -3, "не найден идентификатор запроса : -1"},
        {"12 34 56 78 0A 03 FF FF EF BE", true, -3, "не найден идентификатор запроса : -1"},
        {"12 34 56 78 0A 04 FF FF EF BE", true, -3, "не найден идентификатор запроса : 13330"},
        {"12 34 56 78 0A 0F FF FF EF BE", true, -3, "не найден идентификатор запроса : -1"},
        {"12 34 56 78 0A FF FF FF EF BE", true, -3, "не найден идентификатор запроса : -1"},
        {"12 34 56 79 0A 0C FF FF EF BE", true, -4, "не совпал андрес устройства : 12345679 c 12345678"},
        {"00 00 00 00 0A 0C FF FF EF BE", true, -4, "не совпал андрес устройства : 0 c 12345678"},
        {"12 34 56 78 00 0C 04 00 EF BE", true, -6, "отсутствует параметр : 0x04"},
        {"12 34 56 78 04 0C FF FF EF BE", true, -5, "не совпала входная функция : 4 c 10"},
        {"12 34 56 78 0A 0D FF FF 00 EF BE 00", raw, -7, "не совпал размер кадра : 12 c 13"},
        {"12 34 56 78 0A 0E FF FF 00 00 EF BE", raw, -7, "не совпал размер кадра : 12 c 14"},
        {"12 34 56 78 0A 0C FF FF EF BE 17 46", raw, -8, "не совпали CRC : 5959 c 5958"},
        {"12 34 56 78 0A 0C FF FF EF BE", true, 0, ""},
        {"12 34 56 78 0A 0C FF FF EF BE 01 02 03", true, 0, ""},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.frame);
        config.save_request = {{0xBEEF, open}};
        auto* asked = &meter.param<c_param>();
        BaseResult result;
        // Just as long as what came, so that a sanitizer sees a read behind it.
        hex::Bytes frame = hex::bytes(row.crc ? hex::with_crc16(row.frame) : row.frame);
        frame.shrink_to_fit();
        EXPECT_EQ(pdu::check_frame(&config, asked, result, frame.data(), static_cast<int>(frame.size())), row.code);
        EXPECT_EQ(result.err, row.code == 0 ? "" : std::string("ответ НЕ получен : ") + row.reason);
        bool const matched = row.code < -3 || row.code == 0;
        EXPECT_EQ(config.save_request.empty(), matched);
        EXPECT_EQ(asked == open, matched);
    }
    EXPECT_EQ(log.count("[3] [open] ответ НЕ получен : не совпали CRC"), 1);
    EXPECT_EQ(log.count("[4] [open] crc : 5959, received_crc : 5958"), 1);
    EXPECT_EQ(log.count("[4] [asked] id : 48878"), 1);

    // A parameter of function 0 can't be told from an error, and a meter without an address has none to compare.
    hex::Bytes frame = hex::bytes(hex::with_crc16("12 34 56 78 00 0C 0A 00 EF BE"));
    for (auto const& [sid, code] : {std::pair{12345678U, -6}, {0U, -4}}) {
        open->function = 0;
        config.sid = sid;
        config.save_request = {{0xBEEF, open}};
        std::fill_n(frame.begin(), sid == 0 ? 4 : 0, static_cast<unsigned char>(0));
        auto* asked = open;
        BaseResult result;
        EXPECT_EQ(pdu::check_frame(&config, asked, result, frame.data(), 12), code);
    }
    c_param* none = nullptr;
    BaseResult result;
    EXPECT_EQ(pdu::check_frame(&config, none, result, frame.data(), 12), -1);
    EXPECT_EQ(result.err, "ответ НЕ получен : нулевой указатель _pulsartcp_param");
    auto* asked = open;
    EXPECT_EQ(pdu::check_frame(&config, asked, result, nullptr, 12), -1);
    EXPECT_EQ(result.err, "ответ НЕ получен : нулевой указатель _frame");
    EXPECT_EQ(pdu::check_frame(nullptr, asked, result, frame.data(), 12), -1);
    EXPECT_EQ(result.err, "ответ НЕ получен : нулевой указатель _cdev");
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
    Meter meter(param("v", 10, 0));
    meter.config().save_request[0x5509] = &meter.param<c_param>();
    meter.answer = [](std::string const&) { return hex::with_crc16("12 34 56 78 0A 09 55 00 00 00"); };
    EXPECT_TRUE(meter.poll());
    EXPECT_THAT(meter.published(), ElementsAre("v=0"));
}

TEST(Pulsar, LateAnswersGoToTheParameterThatAsked) {
    Meter meter(param("a", 10, 0) + ", " + param("b", 10, 0x1003));
    auto& open = meter.config().save_request;
    meter.answer = [](std::string const& id) { return response(10, "07 00", id == "00 00" ? "01 00" : "00 00"); };
    EXPECT_FALSE(meter.poll(0));
    EXPECT_THAT(meter.published(), ElementsAre("a!"));
    ASSERT_EQ(open.size(), 1U) << "an unknown id leaves the request open";

    std::string const id_of_a = meter.id;
    meter.answer = [&](std::string const&) { return response(10, "FE FF", id_of_a); };
    EXPECT_TRUE(meter.poll(1));
    EXPECT_THAT(meter.published(), ElementsAre("a=65534")) << "as a's unsigned number, and nothing for b";
    ASSERT_EQ(open.size(), 1U);

    std::string const id_of_b = meter.id;
    meter.answer = [&](std::string const&) { return response(10, "FE FF", id_of_b); };
    EXPECT_TRUE(meter.poll(0));
    EXPECT_THAT(meter.published(), ElementsAre("b=-2"));

    // An id that is open already stays with whom it belongs to.
    for (int id = 0; id <= 0xFFFF; ++id) {
        open[static_cast<unsigned short>(id)] = &meter.param<c_param>(1);
    }
    meter.answer = [](std::string const& id) { return response(10, "FF FF", id); };
    EXPECT_TRUE(meter.poll(0));
    EXPECT_THAT(meter.published(), ElementsAre("b=-1"));
    EXPECT_EQ(open.size(), 0xFFFFU);
}

TEST(Pulsar, AFaultOfALateAnswerIsThatOfItsParameter) {
    Meter meter(param("a", 10, 2, R"(, "rto": 30, "sto": 40)") + ", " + param("b", 10, 2));
    std::string first;
    meter.answer = [&](std::string const& id) {
        first = id;
        hex::Bytes foreign = hex::bytes(id);
        foreign.front() ^= 1U;
        return response(10, "01 00", hex::text(foreign));
    };
    EXPECT_FALSE(meter.poll(0));
    meter.answer = [&](std::string const& /*id*/) {
        std::string damaged = response(10, "01 00", first);
        damaged.back() = damaged.back() == '0' ? '1' : '0';
        return damaged;
    };
    EXPECT_FALSE(meter.poll(1));
    EXPECT_THAT(meter.published(), ElementsAre("a!", "a!"));
    ASSERT_EQ(meter.config().save_request.size(), 1U) << "the request of b is the open one";
    EXPECT_EQ(meter.config().save_request.begin()->second->name, "b");
    EXPECT_EQ(meter.line().timeouts.front(), "30 40");
}

TEST(Pulsar, WhatHasNoDecoder) {
    struct Row {
        std::string param;
        char const* kind;
        char const* reason;
    };
    for (Row const& row : {Row{param("v", 10, 0), "heat_meter", "ОШИБКА : неизвестное устройство : pulsar-tcp"},
                           {param("v", 3, 0), "water_meter", "ОШИБКА : неизвестный номер функции : 3"},
                           {param("v", 1, 3), "water_meter", "ОШИБКА : неизвестный номер параметра : 3"},
                           {param("v", 10, 0xFFFF), "pulse_counter", "ОШИБКА : неизвестный номер параметра : 65535"}}) {
        LogCapture const log;
        Meter meter(row.param, row.kind);
        int const function = meter.param<c_param>().function;
        meter.answer = [&](std::string const& id) { return response(function, "01 00", id); };
        EXPECT_FALSE(meter.poll());
        EXPECT_THAT(meter.published(), ElementsAre("v!"));
        EXPECT_EQ(log.count(std::string("[4] [v] \nbr.err = ") + row.reason + "\nbr.is_crc_ok = false\n"), 1);
    }
    LogCapture const log(false);
    Meter foreign(R"({"name": "v", "type": "media_ctrl"})");
    EXPECT_FALSE(foreign.meter().poll_param(&foreign.param<CParam>()));
    EXPECT_THAT(foreign.published(), ElementsAre("v!"));
    EXPECT_TRUE(log.has("[3] [v] параметр не является параметром Пульсар : опрос пропущен."));
    EXPECT_THAT(foreign.line().sent, IsEmpty());
    EXPECT_FALSE(foreign.meter().poll_param(nullptr));
    std::string topic = "/devices/m_12345678/controls/v/on";
    EXPECT_FALSE(foreign.meter().ProcMessage(topic, topic)) << "nothing is written, the next device is asked";
}

TEST(Pulsar, TheSecondReadFailureTouchesTheConfiguration) {
    NamedConfiguration const file;
    LogCapture const log;
    Meter meter(param("v", 10, 0));
    EXPECT_FALSE(meter.poll());
    EXPECT_THAT(meter.published(), ElementsAre("v!"));
    EXPECT_EQ(log.count("br.err = ответ НЕ получен : ошибка чтения : 0\n"), 1);
    EXPECT_THAT(meter.config().save_request, IsEmpty());

    meter.answer = [](std::string const& id) { return response(10, "07 00", id); };
    EXPECT_TRUE(meter.poll());
    meter.published();
    meter.answer = nullptr;
    std::ofstream(file.path()).close();
    std::filesystem::file_time_type const long_ago{};
    std::filesystem::last_write_time(file.path(), long_ago);
    EXPECT_FALSE(meter.poll()) << "a good exchange in between makes no difference";
    EXPECT_THAT(meter.published(), IsEmpty());
    EXPECT_NE(std::filesystem::last_write_time(file.path()), long_ago);
    EXPECT_EQ(log.count("[3] [v] \nОшибка выполнения запроса PULSAR-TCP\nПопытка переподключения: true"), 1);
    EXPECT_EQ(log.count("[3] [v] исключение при опросе : tcp_read : size = 0"), 1);
    EXPECT_EQ(log.count("[3] [v] Выходной код : 0"), 1);
    EXPECT_TRUE(meter.line().is_open());

    EXPECT_FALSE(meter.poll()) << "and the count starts anew";
    EXPECT_THAT(meter.published(), ElementsAre("v!"));
}

TEST(Pulsar, AFailedWriteDoesItAtOnce) {
    LogCapture const log;
    Meter meter(param("v", 10, 0));
    meter.line().writes_fail = true;
    EXPECT_FALSE(meter.poll());
    EXPECT_THAT(meter.published(), IsEmpty());
    EXPECT_EQ(log.count("[3] [v] исключение при опросе : tcp_write : size = -1"), 1);
    EXPECT_FALSE(log.has("Выходной код")) << "no file is known, none is touched";
}

TEST(Pulsar, ASweepAsksForEverythingOnceAndHangsUp) {
    LogCapture const log;
    Meter meter(param("off", 10, 0, R"(, "enabled": false)") + ", " +
                param("slow", 10, 0, R"(, "poll_interval": 9999)") + ", " + param("bad", 10, 0x7777));
    meter.answer = [](std::string const& id) { return response(10, "07 00", id); };
    meter.line().close();
    meter.meter().Poll(1000);
    EXPECT_THAT(meter.published(), ElementsAre("slow=7", "bad!"));
    EXPECT_FALSE(meter.line().is_open());
    EXPECT_EQ(log.count("[3] [m_12345678] port->tran->is_open() : true"), 1);
    EXPECT_EQ(meter.port().polls, 2);
    EXPECT_EQ(meter.port().errors, 1);
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

    std::string const params = R"(, "params": [{"name": "v", "parameter_number": 1}])";
    auto const fault_of = [](std::string const& keys, bool with_port = true) {
        Json::Value node = sample::json(R"({"name": "m", "type": "pulsar-tcp")" + keys + "}");
        CBase port("port");
        try {
            c_dev const config(with_port ? &port : nullptr, node);
            return std::to_string(config.sid);
        } catch (std::exception const& e) {
            return std::string(e.what());
        }
    };
    std::string const full = R"(, "sid": 4294967295, "delay": 0, "type_device": "x")";
    EXPECT_EQ(fault_of(full + params), "4294967295");
    EXPECT_EQ(fault_of(full + params, false), "#m : ctor : не указан порт.");
    EXPECT_EQ(fault_of(params), "#m : ctor : не указан аргумент 'sid'.");
    EXPECT_EQ(fault_of(R"(, "sid": 5)" + params), "#m_5 : ctor : не указан аргумент 'delay'.");
    EXPECT_EQ(fault_of(R"(, "sid": 5, "delay": 0)" + params), "m_5 : не указан атрибут 'type_device'.");
    EXPECT_EQ(fault_of(R"(, "sid": 5, "delay": 0, "type_device": "x")"),
              "#m_5 : ctor : устройство не содержит ни одного параметра.");
    EXPECT_EQ(fault_of(R"(, "sid": -1)"), "m : недопустимое значение ключа 'sid' : -1.");
    EXPECT_EQ(fault_of(R"(, "sid": 5, "delay": 1e10)"), "m_5 : недопустимое значение ключа 'delay' : 10000000000.");
    EXPECT_THAT(fault_of(R"(, "sid": "text")"), HasSubstr("'sid'"));
    LogCapture const log;
    fault_of(R"(, "sid": 5, "delay": 0, "type_device": "x", "templ": "t", "params": [{"name": "v"}])");
    EXPECT_EQ(log.count("v : не указан атрибут 'parameter_number'."), 1);
    EXPECT_FALSE(log.has("шаблон")) << "there are none for it";
}
