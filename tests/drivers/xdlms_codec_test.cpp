// The four DLMS layers, frame by frame.

#include <exception>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/line/hex.h"
#include "drivers/xdlms/mac_frame.h"
#include "support/sample_config.h"

using xCommon::ByteList;
using xdlms::cad;
using xdlms::dlms_reply;
using xdlms::pdu;
using Lines = std::vector<std::string>;

namespace {

std::string text(ByteList const& bytes) {
    return hex::text({bytes.data(), bytes.size()});
}

dlms_reply parse_pdu(std::string const& response) {
    // In an allocation of its own size, so that a read behind its end is seen.
    hex::Bytes bytes = hex::bytes(response);
    bytes.shrink_to_fit();
    return pdu::parse(bytes.data(), static_cast<int>(bytes.size()));
}

}  // namespace

TEST(DlmsPdu, DataToTextOrNone) {
    struct Row {
        char const* response;
        std::string text;
        Lines faults = {};
    };
    Lines const broken = {"pdu::parse_item : данные обрываются."};
    Row const rows[] = {
        {"C4 01 C1 00 05 FF FF FF FB", "-5"},
        {"C4 01 C1 00 05 7F FF FF FF", "2147483647"},
        {"C4 01 C1 00 06 FF FF FF FF", "4294967295"},
        {"C4 01 C1 00 09 03 00 AB FF", "00ABFF"},
        {"C4 01 C1 00 0A 03 41 42 20", "AB "},
        {"C4 01 C1 00 0F FF", "255"},  // no sign, on purpose
        {"C4 01 C1 00 10 80 00", "-32768"},
        {"C4 01 C1 00 11 FF", "255"},
        {"C4 01 C1 00 12 FF FF", "65535"},
        {"C4 01 C1 00 14 FF FF FF FF FF FF FF FE", "-2"},
        {"C4 01 C1 00 15 FF FF FF FF FF FF FF FF", "18446744073709551615"},
        {"C4 01 C1 00 16 07", "7"},
        {"C4 01 C1 00 02 02 11 01 0A 02 41 42", "#s#1#s#AB#s#"},
        {"C4 01 C1 00 01 02 02 02 11 01 0A 02 41 42 02 02 11 02 0A 02 43 44", "#a##s#1#s#AB#s##a##s#2#s#CD#s##a#"},
        {"C4 01 C1 00 02 02 01 01 11 05 11 06", "#s##a#5#a##s#6#s#"},
        // An item without text ends its list, without a closing mark, and leaves no mark of its own.
        {"C4 01 C1 00 02 03 11 01 09 00 11 02", "#s#1"},
        {"C4 01 C1 00 02 02 11 01 04", "#s#1"},
        {"C4 01 C1 00 01 02 02 02 11 01 09 00 11 02", "#a##s#1#a#2#a#"},
        {"C4 01 C1 00", "", {"pdu.parse : ответ не получен или меньше минимального размера."}},
        {"C4 02 C1 00 11 01", "", {"pdu.parse : тэг типа команды не равен 0x01."}},
        {"C4 01 C2 00 11 01", "", {"pdu.parse : идентификатор вызова и приоритета не равен 0xC1."}},
        {"C8 01 C1 00 11 01", "", {"pdu.parse : неизвестный тэг команды : 200."}},
        {"C4 01 C1 00 03 01", "", {"pdu::parse_item : неопознанный тэг данных : 3."}},
        {"C4 01 C1 00 17 00 00 00 00", "", {"pdu::parse_item : неопознанный тэг данных : 23."}},
        // The access result of a refusal is read as a tag.
        {"C4 01 C1 01 0B", "", {"pdu::parse_item : неопознанный тэг данных : 11."}},
        // A list that ends early has a text, so the list around it goes on.
        {"C4 01 C1 00 01 02 02 02 11 01 03 0B",
         "#a##s#1",
         {"pdu::parse_item : неопознанный тэг данных : 3.", "pdu::parse_item : неопознанный тэг данных : 11."}},
        {"C4 01 C1 00 04 08 FF", ""},
        {"C4 01 C1 00 01 00", ""},
        {"C4 01 C1 00 0A 00", ""},
        // Counts and lengths that lie.
        {"C4 01 C1 00 06 00 00 04", "", broken},
        {"C4 01 C1 00 09 05 01 02", "", broken},
        {"C4 01 C1 00 0A", "", broken},
        {"C4 01 C1 00 02", "", broken},
        {"C4 01 C1 00 01 FF", ""},
    };
    for (Row const& row : rows) {
        dlms_reply const reply = parse_pdu(row.response);
        EXPECT_EQ(reply.ok, !row.text.empty()) << row.response;
        EXPECT_EQ(reply.value, row.text) << row.response;
        EXPECT_EQ(reply.faults, row.faults) << row.response;
    }
    EXPECT_FALSE(pdu::parse(nullptr, 10).ok);
    std::vector<unsigned char> longest = {0xC4, 1, 0xC1, 0, 10, 255};
    longest.resize(6 + 255, 'A');
    EXPECT_EQ(pdu::parse(longest.data(), 6 + 255).value, std::string(255, 'A'));
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
    EXPECT_EQ(nested(65).faults, Lines{"pdu::parse_item : слишком глубокая вложенность данных."});
    EXPECT_FALSE(nested(32700).ok);
}

TEST(DlmsPdu, ResultsOfWritesAndCommands) {
    std::string const known =
        "|hardware-fault (1).|temporary-failure (2).|read-write-denied (3).|object-undefined (4)."
        "|object-class-inconsistent (9).|object-unavailable (11).|type-unmatched (12)."
        "|scope-of-access-violated (13).|data-block-unavailable (14).|long-get-aborted (15)."
        "|no-long-get-in-progress (16).|long-set-aborted (17).|no-long-set-in-progress (18)."
        "|data-block-number-invalid (19).|other-reason (250).";
    for (int code = 1; code <= 255; ++code) {
        size_t const at = known.find(" (" + std::to_string(code) + ").");
        size_t const start = at == std::string::npos ? at : known.rfind('|', at) + 1;
        std::string const reason = at == std::string::npos ? "unknown error : " + std::to_string(code) + "."
                                                           : known.substr(start, known.find('|', at) - start);
        unsigned char response[] = {0xC5, 0x01, 0xC1, static_cast<unsigned char>(code), 0};
        dlms_reply const reply = pdu::parse(response, sizeof(response));
        EXPECT_FALSE(reply.ok);
        EXPECT_EQ(reply.faults, Lines{"pdu.parse : ошибка при записи значения : " + reason});
    }
    EXPECT_TRUE(parse_pdu("C5 01 C1 00 00").ok);
    EXPECT_TRUE(parse_pdu("C7 01 C1 00 00").ok);
    dlms_reply const refused = parse_pdu("C7 01 C1 01 00");
    EXPECT_FALSE(refused.ok);
    EXPECT_TRUE(refused.faults.empty());
}

TEST(DlmsFrames, WhatNoLineBrings) {
    unsigned char const head[16] = {};
    int pos = 0;
    EXPECT_TRUE(xdlms::wpdu::parse(nullptr, pos, 1, 22).faults.empty());
    EXPECT_EQ(xdlms::mac_frame::parse(head, pos, 0, {}, {}).faults, Lines{"mac_frame.parse : FRAME не получен."});
    EXPECT_EQ(xdlms::mac_sel::parse(head, 0, 15).faults, Lines{"mac_sel.parse : SEL не получен."});
}

TEST(DlmsFrames, AStatusIsGoodWithoutFlagsAndWithASize) {
    for (auto const& [status, ok] : std::map<std::string, bool>{{"0F 00 00 00 00 25", true},
                                                                {"F3 06 00 00 00 25", false},
                                                                {"03 00 00 00 00 00", false},
                                                                {"03 00 FF FF FF FF", false}}) {
        std::string const frame = hex::with_crc32("02 00 00 00 30 39 " + status);
        EXPECT_EQ(xdlms::mac_sel::parse(hex::bytes(frame).data(), 0, 16).ok, ok) << status;
    }
}

TEST(DlmsAddress, OverATemplates) {
    ByteList nothing;
    pdu::set(nothing, cad(3, "1.0.1.8.0.255", 2), {});
    EXPECT_TRUE(nothing.empty());
    EXPECT_THAT([] { cad(sample::json("{}")); }, testing::ThrowsMessage<std::exception>("cad::ctor : описатель пуст."));
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
