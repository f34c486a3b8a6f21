// The four DLMS layers, frame by frame.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/line/hex.h"
#include "drivers/xdlms/mac_frame.h"
#include "drivers/xdlms/mac_sel.h"
#include "drivers/xdlms/pdu.h"
#include "drivers/xdlms/wpdu.h"
#include "support/log_capture.h"
#include "support/sample_config.h"

using testing::ElementsAre;
using xCommon::ByteList;
using xdlms::cad;
using xdlms::dlms_reply;
using xdlms::pdu;

namespace {

ByteList list(std::string const& text) {
    ByteList result;
    for (unsigned char const byte : hex::bytes(text)) {
        result.push_8(byte);
    }
    return result;
}

std::string text(ByteList const& bytes) {
    return hex::text({bytes.data(), bytes.size()});
}

dlms_reply parse_pdu(std::string const& response) {
    // In an allocation of its own size, so that a read behind its end is seen.
    hex::Bytes bytes = hex::bytes(response);
    bytes.shrink_to_fit();
    return pdu::parse(bytes.data(), static_cast<int>(bytes.size()));
}

cad energy() {
    return cad(3, "1.0.1.8.0.255", 2);
}

char const* const gateway = "EE EE EE EE EE EE";
char const* const meter = "02 00 00 00 30 39";

}  // namespace

TEST(DlmsPdu, Requests) {
    ByteList get;
    pdu::get(get, energy());
    EXPECT_EQ(text(get), "C0 01 C1 00 03 01 00 01 08 00 FF 02 00");
    ByteList set;
    pdu::set(set, energy(), list("12 01 F4"));
    EXPECT_EQ(text(set), "C1 01 C1 00 03 01 00 01 08 00 FF 02 00 12 01 F4");
    ByteList action;
    pdu::action(action, cad(9, "0.0.10.0.0.255", 1));
    EXPECT_EQ(text(action), "C3 01 C1 00 09 00 00 0A 00 00 FF 01 00 00 00");
    ByteList nothing;
    pdu::set(nothing, energy(), {});
    EXPECT_TRUE(nothing.empty());
}

TEST(DlmsPdu, DataToText) {
    struct Row {
        char const* item;
        std::string text;
    };
    std::string const long_text(255, 'A');
    std::string long_item = "0A FF";
    for (int index = 0; index < 255; ++index) {
        long_item += " 41";
    }
    Row const rows[] = {
        {"05 FF FF FF FB", "-5"},
        {"05 7F FF FF FF", "2147483647"},
        {"06 FF FF FF FF", "4294967295"},
        {"09 03 00 AB FF", "00ABFF"},
        {"0A 03 41 42 20", "AB "},
        {long_item.c_str(), long_text},
        {"0F FF", "255"},  // no sign, on purpose
        {"10 80 00", "-32768"},
        {"11 FF", "255"},
        {"12 FF FF", "65535"},
        {"14 FF FF FF FF FF FF FF FE", "-2"},
        {"15 FF FF FF FF FF FF FF FF", "18446744073709551615"},
        {"16 07", "7"},
        {"02 02 11 01 0A 02 41 42", "#s#1#s#AB#s#"},
        {"01 02 02 02 11 01 0A 02 41 42 02 02 11 02 0A 02 43 44", "#a##s#1#s#AB#s##a##s#2#s#CD#s##a#"},
        {"02 02 01 01 11 05 11 06", "#s##a#5#a##s#6#s#"},
        // An item without text ends its list, without a closing mark, and leaves no mark of its own.
        {"02 03 11 01 09 00 11 02", "#s#1"},
        {"02 02 11 01 04", "#s#1"},
        {"01 02 02 02 11 01 09 00 11 02", "#a##s#1#a#2#a#"},
    };
    for (Row const& row : rows) {
        dlms_reply const reply = parse_pdu(std::string("C4 01 C1 00 ") + row.item);
        EXPECT_TRUE(reply.ok) << row.item;
        EXPECT_EQ(reply.value, row.text) << row.item;
    }
}

TEST(DlmsPdu, WhatHasNoValue) {
    struct Row {
        char const* response;
        std::vector<std::string> lines;
    };
    std::string const broken = "[3] pdu::parse_item : данные обрываются.";
    Row const rows[] = {
        {"C4 01 C1 00", {"[3] pdu.parse : ответ не получен или меньше минимального размера."}},
        {"C4 02 C1 00 11 01", {"[3] pdu.parse : тэг типа команды не равен 0x01."}},
        {"C4 01 C2 00 11 01", {"[3] pdu.parse : идентификатор вызова и приоритета не равен 0xC1."}},
        {"C8 01 C1 00 11 01", {"[3] pdu.parse : неизвестный тэг команды : 200."}},
        {"C4 01 C1 00 03 01", {"[3] pdu::parse_item : неопознанный тэг данных : 3."}},
        {"C4 01 C1 00 17 00 00 00 00", {"[3] pdu::parse_item : неопознанный тэг данных : 23."}},
        // The access result of a refusal is read as a tag.
        {"C4 01 C1 01 0B", {"[3] pdu::parse_item : неопознанный тэг данных : 11."}},
        {"C4 01 C1 00 04 08 FF", {}},
        {"C4 01 C1 00 01 00", {}},
        {"C4 01 C1 00 0A 00", {}},
        // Counts and lengths that lie.
        {"C4 01 C1 00 06 00 00 04", {broken}},
        {"C4 01 C1 00 09 05 01 02", {broken}},
        {"C4 01 C1 00 0A", {broken}},
        {"C4 01 C1 00 02", {broken}},
        {"C4 01 C1 00 01 FF", {}},
    };
    for (Row const& row : rows) {
        LogCapture const log;
        dlms_reply const reply = parse_pdu(row.response);
        EXPECT_FALSE(reply.ok) << row.response;
        EXPECT_EQ(reply.value, "") << row.response;
        EXPECT_EQ(log.entries(), row.lines) << row.response;
    }
    EXPECT_FALSE(pdu::parse(nullptr, 10).ok);
}

TEST(DlmsPdu, ArraysNestSixtyFourDeepAtMost) {
    auto const nested = [](int levels) {
        std::string item = "C4 01 C1 00";
        for (int level = 0; level < levels; ++level) {
            item += " 01 01";
        }
        return parse_pdu(item + " 11 07");
    };
    EXPECT_TRUE(nested(64).ok);
    EXPECT_FALSE(nested(65).ok);
    EXPECT_FALSE(nested(32700).ok);
}

TEST(DlmsPdu, ResultsOfWritesAndCommands) {
    struct Row {
        int result;
        char const* text;
    };
    Row const rows[] = {
        {1, "hardware-fault (1)."},
        {2, "temporary-failure (2)."},
        {3, "read-write-denied (3)."},
        {4, "object-undefined (4)."},
        {5, "unknown error : 5."},
        {8, "unknown error : 8."},
        {9, "object-class-inconsistent (9)."},
        {10, "unknown error : 10."},
        {11, "object-unavailable (11)."},
        {12, "type-unmatched (12)."},
        {13, "scope-of-access-violated (13)."},
        {14, "data-block-unavailable (14)."},
        {15, "long-get-aborted (15)."},
        {16, "no-long-get-in-progress (16)."},
        {17, "long-set-aborted (17)."},
        {18, "no-long-set-in-progress (18)."},
        {19, "data-block-number-invalid (19)."},
        {250, "other-reason (250)."},
        {255, "unknown error : 255."},
    };
    for (Row const& row : rows) {
        unsigned char response[] = {0xC5, 0x01, 0xC1, static_cast<unsigned char>(row.result), 0};
        LogCapture const log;
        EXPECT_FALSE(pdu::parse(response, sizeof(response)).ok);
        EXPECT_THAT(log.entries(),
                    ElementsAre(std::string("[3] pdu.parse : ошибка при записи значения : ") + row.text));
    }
    LogCapture const log;
    EXPECT_TRUE(parse_pdu("C5 01 C1 00 00").ok);
    EXPECT_TRUE(parse_pdu("C7 01 C1 00 00").ok);
    EXPECT_FALSE(parse_pdu("C7 01 C1 01 00").ok);
    EXPECT_TRUE(log.entries().empty());
}

TEST(DlmsWrapper, BothDirections) {
    ByteList out;
    xdlms::wpdu::wrap(out, 1, 22, list("AA BB CC"));
    EXPECT_EQ(text(out), "00 01 00 01 00 16 00 03 AA BB CC");
    struct Row {
        char const* head;
        bool ok;
        std::vector<std::string> lines;
    };
    Row const rows[] = {
        // Who it is for isn't compared.
        {"00 01 00 16 00 63 FF FF", true, {}},
        {"00 01 00 17 00 01 FF FF", false, {"[3] wpdu.parse : не тот отправитель : 22 != 23."}},
        {"00 02 00 16 00 01 FF FF", false, {"[3] wpdu.parse : версия протокола не равна 0x0001."}},
    };
    for (Row const& row : rows) {
        LogCapture const log;
        int pos = 0;
        dlms_reply const reply = xdlms::wpdu::parse(hex::bytes(row.head).data(), pos, 1, 22);
        EXPECT_EQ(reply.ok, row.ok) << row.head;
        EXPECT_EQ(reply.size, 65535);
        EXPECT_EQ(pos, 8);
        EXPECT_EQ(log.entries(), row.lines);
    }
    int pos = 0;
    EXPECT_EQ(xdlms::wpdu::parse(nullptr, pos, 1, 22).size, 0);
}

TEST(DlmsLinkFrame, BothDirections) {
    ByteList out;
    xdlms::mac_frame::wrap(out, list(gateway), list(meter), list("AA BB CC"));
    EXPECT_EQ(text(out), hex::with_crc32("02 00 00 00 30 39 EE EE EE EE EE EE 88 E5 00 03 00 00 00 00 AA BB CC"));
    struct Row {
        std::string frame;
        bool crc_ok;
        int pos;  // behind the head if it is good
        std::vector<std::string> lines;
    };
    std::string const macs = std::string(gateway) + " " + meter;
    Row const rows[] = {
        // The length byte isn't read.
        {hex::with_crc32(macs + " 88 E5 00 77 00 00 00 00 AA"), true, 20, {}},
        {macs + " 88 E5 00 01 00 00 00 00 AA 00 00 00 00", false, 0, {"[3] mac_frame.parse : не совпали CRC."}},
        {hex::with_crc32("EE EE EE EE EE EF 02 00 00 00 30 39 88 E5 00 01 00 00 00 00 AA"),
         true,
         0,
         {"[3] mac_frame.parse : не совпали мас-адреса получателя."}},
        {hex::with_crc32(std::string(gateway) + " 02 00 00 00 30 38 88 E5 00 01 00 00 00 00 AA"),
         true,
         6,
         {"[3] mac_frame.parse : не совпали мас-адреса отправителя."}},
        {hex::with_crc32(macs + " 88 E6 00 01 00 00 00 00 AA"), true, 14, {"[3] mac_frame.parse : EthType != 0x88E5."}},
        {hex::with_crc32(macs + " 88 E5 01 01 00 00 00 00 AA"), true, 14, {"[3] mac_frame.parse : AC != 0."}},
        {hex::with_crc32(macs), true, 0, {"[3] mac_frame.parse : FRAME короче заголовка."}},
        {"00 00 00 00", false, 0, {"[3] mac_frame.parse : FRAME не получен."}},
    };
    for (Row const& row : rows) {
        LogCapture const log;
        hex::Bytes const frame = hex::bytes(row.frame);
        int pos = 0;
        dlms_reply const reply =
            xdlms::mac_frame::parse(frame.data(), pos, static_cast<int>(frame.size()) - 4, list(gateway), list(meter));
        EXPECT_EQ(reply.crc_ok, row.crc_ok) << row.frame;
        EXPECT_EQ(reply.ok, row.lines.empty()) << row.frame;
        EXPECT_EQ(pos, row.pos) << row.frame;
        EXPECT_EQ(log.entries(), row.lines) << row.frame;
    }
}

TEST(DlmsSelectFrame, BothDirections) {
    ByteList out;
    xdlms::mac_sel::wrap(out, list(meter), 41, 128);
    EXPECT_EQ(text(out), hex::with_crc32("02 00 00 00 30 39 00 80 00 00 00 29"));
    struct Row {
        std::string status;
        bool crc_ok;
        bool ok;
        int flags;
        int seq;
        int size;
    };
    Row const rows[] = {
        {hex::with_crc32("02 00 00 00 30 39 0F 00 00 00 00 25"), true, true, 0, 15, 37},
        {hex::with_crc32("02 00 00 00 30 39 F3 06 00 00 00 25"), true, false, 6, 3, 37},
        {hex::with_crc32("02 00 00 00 30 39 03 00 00 00 00 00"), true, false, 0, 3, 0},
        {hex::with_crc32("02 00 00 00 30 39 03 00 FF FF FF FF"), true, false, 0, 3, -1},
        {"02 00 00 00 30 39 03 00 00 00 00 25 00 00 00 00", false, false, 0, 3, 37},
    };
    for (Row const& row : rows) {
        dlms_reply const reply = xdlms::mac_sel::parse(hex::bytes(row.status).data(), 0, 16);
        EXPECT_EQ(reply.crc_ok, row.crc_ok) << row.status;
        EXPECT_EQ(reply.ok, row.ok) << row.status;
        EXPECT_EQ(reply.flags, row.flags) << row.status;
        EXPECT_EQ(reply.seq, row.seq) << row.status;
        EXPECT_EQ(reply.size, row.size) << row.status;
    }
    LogCapture const log;
    EXPECT_FALSE(xdlms::mac_sel::parse(hex::bytes(rows[0].status).data(), 0, 15).crc_ok);
    EXPECT_FALSE(xdlms::mac_sel::parse(hex::bytes(rows[4].status).data(), 0, 16).crc_ok);
    EXPECT_THAT(log.entries(),
                ElementsAre("[3] mac_sel.parse : SEL не получен.", "[3] mac_sel.parse : не совпали CRC."));
}

TEST(DlmsAddress, OfTheConfiguration) {
    struct Row {
        char const* node;
        char const* fault;
    };
    Row const rows[] = {
        {"{}", "cad::ctor : описатель пуст."},
        {R"({"object_id": "1.0.1.8.0.255", "attr_id": 2})", "cad::ctor : не указан 'class_id'."},
        {R"({"class_id": 3, "attr_id": 2})", "cad::ctor : не указан 'object_id'."},
        {R"({"class_id": 3, "object_id": "", "attr_id": 2})", "cad::ctor : не указан 'object_id'."},
        {R"({"class_id": 3, "object_id": "1.0.1.8.0.255"})", "cad::ctor : не указан 'attr_id'."},
        {R"({"class_id": 3, "object_id": "1.0.1.8.0", "attr_id": 2})",
         "cad::ctor : 1.0.1.8.0 : 'object_id' не содержит 6 элементов."},
        {R"({"class_id": 3, "object_id": "1.0.x.8.0.255", "attr_id": 2})", "stoi"},
    };
    for (Row const& row : rows) {
        try {
            cad const address(sample::json(row.node));
            ADD_FAILURE() << row.node;
        } catch (std::exception const& e) {
            EXPECT_STREQ(e.what(), row.fault);
        }
    }
    cad address(sample::json(R"({"class_id": 65539, "object_id": "1.0.257.8.0.255", "attr_id": 2})"));
    // Laid over a template's: an `object_id` is appended, so it has to be left out.
    address.compare(sample::json(R"({"class_id": 4, "object_id": "1.2.3"})"));
    ByteList out;
    address.to_list(out);
    EXPECT_EQ(text(out), "00 04 01 00 01 08 00 FF 02");
    address.compare(sample::json(R"({"attr_id": 5, "object_id": "1.2.3.4.5.6"})"));
    EXPECT_EQ(text(address.object), "01 00 01 08 00 FF 01 02 03 04 05 06");
    EXPECT_EQ(address.attr_id, 5);
}
