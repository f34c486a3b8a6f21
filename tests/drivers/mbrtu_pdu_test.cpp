#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/line/hex.h"
#include "drivers/mbrtu/config.h"
#include "drivers/mbrtu/pdu.h"
#include "support/log_capture.h"

using mbrtu::pdu;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int big = 0;
constexpr int little = 1;
constexpr int mid_little = 3;

mbrtu::c_param made(int reg_type, int value_type, int reg_addr = 16, int word_order = big) {
    Json::Value node;
    node["name"] = "u";
    node["reg_addr"] = reg_addr;
    mbrtu::c_param param(nullptr, node);
    param.reg_type = reg_type;
    param.value_type = value_type;
    param.word_order = word_order;
    return param;
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

std::string text_of(xCommon::ByteList const& list) {
    return hex::text({list.data(), list.size()});
}

}  // namespace

TEST(MbRtuPdu, ReadRequests) {
    struct Row {
        char const* guards;
        unsigned char sid;
        int reg_type;
        int value_type;
        int reg_addr;
        char const* frame;
    };
    Row const rows[] = {
        {"coil", 5, modbus::reg_coil, vt_bit, 16, "05 01 00 10 00 01 FD 8B"},
        {"status", 5, modbus::reg_status, vt_bit, 16, "05 02 00 10 00 01 B9 8B"},
        {"holding", 5, modbus::reg_holding, vt_u16, 16, "05 03 00 10 00 01 84 4B"},
        {"holding-m, two registers", 5, modbus::reg_holding_m, vt_float32, 16, "05 03 00 10 00 02 C4 4A"},
        {"holding-bit", 5, modbus::reg_holding_bit, vt_u16, 16, "05 03 00 10 00 01 84 4B"},
        {"input, four registers", 5, modbus::reg_input, vt_str8, 16, "05 04 00 10 00 04 F1 88"},
        {"input-bit, two registers", 5, modbus::reg_input_bit, vt_u32, 16, "05 04 00 10 00 02 71 8A"},
        {"a coil is one whatever its value type", 0xFF, modbus::reg_coil, vt_i32, 0xFFFF, "FF 01 FF FF 00 01 E8 30"},
        {"high address", 1, modbus::reg_holding_m, vt_u32, 0xFFFE, "01 03 FF FE 00 02 95 EF"},
    };
    for (Row const& row : rows) {
        mbrtu::c_param const param = made(row.reg_type, row.value_type, row.reg_addr);
        xCommon::ByteList out;
        pdu::read(out, row.sid, &param);
        EXPECT_EQ(text_of(out), row.frame) << row.guards;
    }
}

TEST(MbRtuPdu, WriteRequests) {
    struct Row {
        char const* guards;
        int reg_type;
        int value_type;
        int word_order;
        char const* value;
        char const* frame;
    };
    Row const rows[] = {
        {"coil on", modbus::reg_coil, vt_bit, big, "1", "05 05 00 10 FF 00 8C 7B"},
        {"coil off", modbus::reg_coil, vt_bit, little, "0", "05 05 00 10 00 00 CD 8B"},
        {"a coil with the value of a register", modbus::reg_coil, vt_u16, big, "1", "05 05 00 10 00 01 0C 4B"},
        {"one register", modbus::reg_holding, vt_u16, big, "1234", "05 06 00 10 04 D2 0B 16"},
        {"one register, low byte first", modbus::reg_holding, vt_i16, little, "-2", "05 06 00 10 FE FF 89 AB"},
        {"a half float", modbus::reg_holding, vt_float16, big, "1.5", "05 06 00 10 3E 00 99 EB"},
        {"text of one register", modbus::reg_holding, vt_str2, big, "ab", "05 06 00 10 61 62 21 F2"},
        {"a bit in a register", modbus::reg_holding, vt_bit, big, "0", "05 06 00 10 00 00 89 8B"},
        {"two registers", modbus::reg_holding, vt_i32, big, "-2", "05 10 00 10 00 02 04 FF FF FF FE 27 C7"},
        {"two registers, exchanged", modbus::reg_holding, vt_u32, mid_little, "305419896",
         "05 10 00 10 00 02 04 56 78 12 34 7B 75"},
        {"a float", modbus::reg_holding, vt_float32, big, "-12.5", "05 10 00 10 00 02 04 C1 48 00 00 5A 79"},
        {"a text longer than its registers", modbus::reg_holding, vt_str4, big, "abcdef",
         "05 10 00 10 00 02 04 61 62 63 64 65 66 0E C5"},
        {"the register of bits", modbus::reg_holding_bit, vt_u16, big, "32768", "05 06 00 10 80 00 E8 4B"},
        {"holding-m, one register", modbus::reg_holding_m, vt_u16, big, "7", "05 10 00 10 00 01 02 00 07 D7 C2"},
        {"holding-m, a bit", modbus::reg_holding_m, vt_bit, big, "1", "05 10 00 10 00 01 02 FF 00 D7 F0"},
        {"holding-m, four registers", modbus::reg_holding_m, vt_str8, big, "abcdefgh",
         "05 10 00 10 00 04 08 61 62 63 64 65 66 67 68 5A F2"},
    };
    for (Row const& row : rows) {
        mbrtu::c_param const param = made(row.reg_type, row.value_type, 16, row.word_order);
        xCommon::ByteList out;
        pdu::write(out, 5, &param, row.value);
        EXPECT_EQ(text_of(out), row.frame) << row.guards;
    }
}

TEST(MbRtuPdu, FramesAreAppendedWithTheCrcOfTheirOwnBytes) {
    mbrtu::c_param const param = made(modbus::reg_holding, vt_u16);
    xCommon::ByteList out;
    pdu::read(out, 5, &param);
    pdu::write(out, 5, &param, "1234");
    EXPECT_EQ(text_of(out), "05 03 00 10 00 01 84 4B 05 06 00 10 04 D2 0B 16");
}

TEST(MbRtuPdu, RegistersOfEachValueType) {
    for (int const type : {vt_i32, vt_u32, vt_float32, vt_str4}) {
        mbrtu::c_param param = made(modbus::reg_holding, type);
        EXPECT_EQ(pdu::getRegNum(&param), 2) << type;
        EXPECT_EQ(pdu::getWriteFunCode(&param), 16) << type;
        param.reg_type = modbus::reg_status;
        EXPECT_EQ(pdu::getRegNum(&param), 1) << type;
    }
    mbrtu::c_param const longest = made(modbus::reg_input, vt_str8);
    EXPECT_EQ(pdu::getRegNum(&longest), 4);
    for (int const type : {vt_none, vt_bit, vt_i8, vt_u8, vt_i16, vt_u16, vt_float16, vt_fixi16, vt_fixu16, vt_str2,
                           vt_u24, vt_date_time}) {
        mbrtu::c_param const param = made(modbus::reg_holding_bit, type);
        EXPECT_EQ(pdu::getRegNum(&param), 1) << type;
        EXPECT_EQ(pdu::getWriteFunCode(&param), 6) << type;
    }
}

TEST(MbRtuPdu, WhatHasNoRequestIsRefused) {
    xCommon::ByteList out;
    for (int const kind : {modbus::reg_status, modbus::reg_input, modbus::reg_input_bit}) {
        mbrtu::c_param const param = made(kind, vt_u16);
        EXPECT_EQ(failure([&] { pdu::write(out, 5, &param, "1"); }),
                  "getWriteFunCode : u : для данного типа регистра запись невозможна.");
    }
    for (int const kind : {7, 100, -1}) {
        mbrtu::c_param const param = made(kind, vt_u16);
        EXPECT_EQ(failure([&] { pdu::read(out, 5, &param); }), "getReadFunCode : u : неизвестный тип регистра.");
    }
    mbrtu::c_param const param = made(modbus::reg_holding, vt_u16);
    EXPECT_EQ(failure([&] { pdu::write(out, 5, &param, "abc"); }), "stoul");
    EXPECT_EQ(failure([&] { pdu::write(out, 5, &param, ""); }), "u # пустое значение.");
    EXPECT_EQ(failure([&] { pdu::read(out, 5, nullptr); }), "pdu_read : cp == nullptr.");
    EXPECT_EQ(failure([&] { pdu::write(out, 5, nullptr, "1"); }), "pdu_write : cp == nullptr.");
    EXPECT_EQ(failure([] { pdu::getReadFunCode(nullptr); }), "getReadFunCode : cp == nullptr.");
    EXPECT_EQ(failure([] { pdu::getWriteFunCode(nullptr); }), "getWriteFunCode : cp == nullptr.");
    EXPECT_EQ(failure([] { pdu::getRegNum(nullptr); }), "getRegNum : cp == nullptr.");
    // Half a frame must not stay behind for whoever goes on with the list.
    EXPECT_TRUE(out.empty());
}

TEST(MbRtuPdu, HeadOfAReply) {
    struct Row {
        char const* reply;
        unsigned char sid;
        char const* line;  // null: may be read on
    };
    Row const rows[] = {
        {"05 03 02", 5, nullptr},
        {"05 06 FF", 5, nullptr},  // neither the function nor the count is compared
        {"05 7F 00", 5, nullptr},
        {"FF 03 02", 0xFF, nullptr},
        {"", 5, "timeout."},
        {"05", 5, "timeout."},
        {"04 83", 5, "timeout."},
        {"04 03 02", 5, "не совпали SlaveId."},
        {"04 83 02", 5, "не совпали SlaveId."},
        {"05 83 00", 5, "Неизвестная ошибка."},
        {"05 81 01", 5, "Принятый код функции не может быть обработан."},
        {"05 82 02", 5, "Адрес данных, указанный в запросе, недоступен."},
        {"05 83 03", 5, "Значение, содержащееся в поле данных запроса, является недопустимой величиной."},
        {"05 84 04", 5,
         "Невосстанавливаемая ошибка имела место, пока ведомое устройство пыталось выполнить затребованное действие."},
        {"05 85 05", 5,
         "Ведомое устройство приняло запрос и обрабатывает его, но это требует много времени. Этот ответ предохраняет "
         "ведущее устройство от генерации ошибки тайм-аута."},
        {"05 86 06", 5,
         "Ведомое устройство занято обработкой команды. Ведущее устройство должно повторить сообщение позже, когда "
         "ведомое освободится."},
        {"05 90 07", 5,
         "Ведомое устройство не может выполнить программную функцию, заданную в запросе. Этот код возвращается для "
         "неуспешного программного запроса, использующего функции с номерами 13 или 14. Ведущее устройство должно "
         "запросить диагностическую информацию или информацию об ошибках от ведомого."},
        {"05 FF 08", 5,
         "Ведомое устройство при чтении расширенной памяти обнаружило ошибку паритета. Ведущее устройство может "
         "повторить запрос, но обычно в таких случаях требуется ремонт."},
        {"05 80 09", 5, "."},
        {"05 80 0A", 5, "Шлюз неправильно настроен или перегружен запросами."},
        {"05 80 0B", 5, "Slave устройства нет в сети или от него нет ответа."},
        {"05 80 0C", 5, "Неизвестная ошибка."},
        {"05 80 FF", 5, "Неизвестная ошибка."},
    };
    mbrtu::c_param const param = made(modbus::reg_holding, vt_u16);
    for (Row const& row : rows) {
        LogCapture const log(false);
        hex::Bytes const bytes = hex::bytes(row.reply);
        auto const exact = std::make_unique<unsigned char[]>(bytes.size());
        std::copy(bytes.begin(), bytes.end(), exact.get());
        int const may_go_on = pdu::check_head(&param, row.sid, exact.get(), static_cast<int>(bytes.size()));
        EXPECT_EQ(may_go_on, row.line == nullptr ? 1 : 0) << row.reply;
        if (row.line == nullptr) {
            EXPECT_THAT(log.entries(), IsEmpty()) << row.reply;
        } else {
            EXPECT_THAT(log.entries(), ElementsAre("[3] [u] операция НЕ выполнена : " + std::string(row.line)));
        }
    }
    LogCapture const log(false);
    unsigned char const head[] = {5, 3, 2};
    EXPECT_EQ(pdu::check_head(nullptr, 5, head, 3), 0);
    EXPECT_EQ(pdu::check_head(&param, 5, nullptr, 3), 0);
    EXPECT_EQ(pdu::check_head(&param, 5, head, -1), 0);
}

TEST(MbRtuPdu, CrcOfAReply) {
    struct Row {
        char const* frame;
        bool good;
    };
    Row const rows[] = {
        {"05 03 02 04 D2 CB 19", true},
        {"11 03 02 00 05 B9 84", true},
        {"05 83 02 81 30", true},
        {"05 10 00 10 00 02 41 89", true},
        {"FF FF", true},  // of no bytes
        {"05 03 02 04 D2 19 CB", false},
        {"05 03 02 04 D3 CB 19", false},
        {"04 03 02 04 D2 CB 19", false},
        {"05 03 02 04 D2 CB", false},
        {"05 03 02 04 D2 CB 19 01", false},
        {"CB", false},
        {"", false},
    };
    for (Row const& row : rows) {
        hex::Bytes const bytes = hex::bytes(row.frame);
        EXPECT_EQ(pdu::check_crc(bytes), row.good) << row.frame;
        // A single flipped bit anywhere is found.
        for (size_t bit = 0; row.good && bit < bytes.size() * 8; ++bit) {
            hex::Bytes broken = bytes;
            broken[bit / 8] = static_cast<unsigned char>(broken[bit / 8] ^ (1U << (bit % 8)));
            EXPECT_FALSE(pdu::check_crc(broken)) << row.frame << " bit " << bit;
        }
    }
}
