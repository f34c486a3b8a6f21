// The DLMS ports without a broker: configuration, written values, and the exchanges on a scripted line.

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/config.h"
#include "ctl/line/serial_peer.h"
#include "drivers/xdlms/dport_rs.h"
#include "drivers/xdlms/dport_tcp.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"
#include "support/sample_config.h"
#include "support/temp_folder.h"
#include "transport/rs_tran.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using xCommon::ByteList;
using xCommon::xString;

namespace {

/// A port with one meter of the address 22 and the MAC 02 00 00 00 30 39, and one parameter.
class Meter {
 public:
    explicit Meter(std::string const& type, std::string const& param_keys = R"("value_type": "u32")")
        : config_([&] {
              Json::Value root = sample::json(R"({"ports": [{"name": "p", "type": ")" + type + R"(",
                  "rs": {"path": "/dev/null", "baudrate": 115200}, "tcp": {"url": "127.0.0.1", "port": 1},
                  "devices": [{"name": "m", "sn": "AB12345", "rto": 7, "sto": 8, "params": [{"name": "e", "class_id": 3,
                      "object_id": "1.0.1.8.0.255", "attr_id": 2, )" +
                                              param_keys + "}]}]}]}");
              return Config::Load(root);
          }()) {
        auto* const node = dynamic_cast<CPort*>(config_->ports.children.at(0).get());
        port_.reset(dynamic_cast<xdlms::dport*>(IBFac::stone_map().at(type + ".port")(nullptr, node)));
        auto line = std::make_unique<ScriptTran>(node);
        line_ = line.get();
        port_->tran = std::move(line);
        line_->open();
        dev().dlms_addr = 22;
        xdlms::dport_rs::mac_from_sn(dev().sn, dev().mac);
    }

    xdlms::dport& port() { return *port_; }
    xdlms::cddev& dev() { return dynamic_cast<xdlms::cddev&>(*config_->ports.children.at(0)->children.at(0)); }
    xdlms::dparam& param() { return dynamic_cast<xdlms::dparam&>(*dev().children.at(0)); }
    ScriptTran& line() { return *line_; }
    bool poll() { return port_->poll_param(&dev(), &param()); }

 private:
    std::unique_ptr<Config> config_;
    std::unique_ptr<xdlms::dport> port_;
    ScriptTran* line_ = nullptr;
};

// The frames of one exchange: the request for 1.0.1.8.0.255, and 1234 as its answer.
constexpr char request[] =
    "02 00 00 00 30 39 EE EE EE EE EE EE 88 E5 00 15 00 00 00 00 00 01 00 01 00 16 00 0D "
    "C0 01 C1 00 03 01 00 01 08 00 FF 02 00 DA FD 78 8A";
constexpr char answer[] =
    "EE EE EE EE EE EE 02 00 00 00 30 39 88 E5 00 11 00 00 00 00 00 01 00 16 00 01 00 09 "
    "C4 01 C1 00 06 00 00 04 D2 41 26 C7 2E";
constexpr char answer_head[] = "EE EE EE EE EE EE 02 00 00 00 30 39 88 E5 00 11 00 00 00 00 ";
// Select frames to the meter, by their control words.
constexpr char announced[] = "02 00 00 00 30 39 00 00 00 00 00 29 6D 6A 73 60";
constexpr char accepted[] = "02 00 00 00 30 39 00 00 00 00 00 00 2F D8 EB 0C";
constexpr char bad_crc[] = "02 00 00 00 30 39 00 10 00 00 00 00 4F 38 7C 8E";
constexpr char no_answer[] = "02 00 00 00 30 39 00 20 00 00 00 00 EE 19 C4 08";
constexpr char bad_ats_crc[] = "02 00 00 00 30 39 00 40 00 00 00 00 77 2B B3 45";
constexpr char no_ats[] = "02 00 00 00 30 39 00 80 00 00 00 00 9E 3E 5B 9E";

/// Status frame of the meter: packet number, flags, size.
std::string ats(int seq, int flags = 0, int size = 37) {
    return hex::with_crc32("02 00 00 00 30 39 " + xString::Format("%02X %02X %08X", seq, flags, size));
}

}  // namespace

TEST(DlmsConfiguration, WhatCannotWorkIsRefused) {
    struct Row {
        char const* device;
        char const* line;
    };
    Row const rows[] = {
        {R"({"name": "m", "params": []})", "#m : cddev.ctor : устройство не содержит ни одного параметра."},
        {R"({"name": "m", "params": [{"name": "e"}]})", "cad::ctor : не указан 'class_id'."},
        {R"({"name": "m", "type": "mb-rtu", "sid": 1, "params": [{"name": "e", "type": "dlms", "class_id": 3,
            "object_id": "1.0.1.8.0.255", "attr_id": 2}]})",
         "#e : dparam.ctor : не указан 'cdev'."},
    };
    for (Row const& row : rows) {
        LogCapture const log;
        Json::Value root = sample::json(
            std::string(
                R"({"ports": [{"name": "p", "type": "dlms.tcp", "tcp": {"url": "h", "port": 1}, "devices": [)") +
            row.device + "]}]}");
        std::unique_ptr<Config> const config(Config::Load(root));
        EXPECT_TRUE(log.has(row.line)) << row.line;
        EXPECT_TRUE(log.has("#p : ctor : список устройств пуст.")) << row.line;
    }
}

TEST(DlmsConfiguration, AddressOfAMeterFromItsSerialNumber) {
    struct Row {
        char const* sn;
        char const* mac;
    };
    for (Row const& row :
         {Row{"AB12345", "02 00 00 00 30 39"}, {"1299999999999", "02 17 48 76 E7 FF"}, {"xx-1", "02 FF FF FF FF FF"}}) {
        ByteList mac;
        EXPECT_TRUE(xdlms::dport_rs::mac_from_sn(row.sn, mac));
        EXPECT_EQ(hex::text({mac.data(), mac.size()}), row.mac);
    }
    ByteList mac;
    EXPECT_FALSE(xdlms::dport_rs::mac_from_sn("", mac));
    EXPECT_TRUE(mac.empty());
    EXPECT_THROW(xdlms::dport_rs::mac_from_sn("A", mac), std::out_of_range);
    EXPECT_THROW(xdlms::dport_rs::mac_from_sn("AB", mac), std::invalid_argument);
    EXPECT_THROW(xdlms::dport_rs::mac_from_sn("ABC", mac), std::invalid_argument);
}

TEST(DlmsConfiguration, WrittenValues) {
    struct Row {
        char const* type;
        char const* value;
        char const* item;  // null: raises
    };
    Row const rows[] = {
        {"bit", "1", "03 01"},
        {"bit", "true", "03 00"},
        {"i32", "-5", "05 FF FF FF FB"},
        {"i32", "4294967295", nullptr},
        {"u32", "4294967296", nullptr},
        {"u32", "-1", "06 FF FF FF FF"},
        {"u32", "4294967295", "06 FF FF FF FF"},
        {"str", "AB", "0A 02 41 42"},
        {"i8", "-1", "0F FF"},
        {"i16", "-2", "10 FF FE"},
        {"u8", "300", "11 2C"},
        {"u8", "-1", "11 FF"},
        {"u8", "4294967296", nullptr},
        {"u16", "-4294967295", "12 00 01"},
        {"u16", "-4294967296", nullptr},
        {"u16", "500", "12 01 F4"},
        {"u16", "x", nullptr},
        {"float32", "1.5", "17 3F C0 00 00"},
        {"float16", "1.5", "13"},
        {"str2", "ABC", "2B 02 41 42 43"},
        {"str4", "A", "2C 04 41"},
        {"date_time", "1", "2A"},
        {"u16", "", ""},
        {"", "7", ""},
    };
    for (Row const& row : rows) {
        std::string const keys =
            *row.type == '\0' ? R"("unit": "")" : std::string(R"("value_type": ")") + row.type + '"';
        Meter meter("dlms.tcp", keys);
        ByteList out;
        if (row.item == nullptr) {
            EXPECT_THROW(meter.param().set_data(out, row.value), std::logic_error) << row.type;
        } else {
            meter.param().set_data(out, row.value);
            EXPECT_EQ(hex::text({out.data(), out.size()}), row.item) << row.type << row.value;
        }
    }
}

TEST(DlmsSerialNew, OneExchange) {
    struct Row {
        std::string reply;
        bool ok;
        std::vector<std::string> lines;
    };
    std::string const wrapper = "00 01 00 16 00 01 ";
    Row const rows[] = {
        {answer, true, {"[4] [e] начало опроса (new).", "[1] [e] ответ получен : 1234."}},
        {"", false, {"[3] [e] get_response : ответ не получен (read).", "[3] [e] ответ НЕ получен."}},
        {hex::with_crc32(answer_head + wrapper + "00 04 C4 01 C1 00"),  // 36 bytes
         false,
         {"[3] [e] get_response : ответ меньше минимального размера."}},
        {hex::with_crc32(answer_head + wrapper + "00 05 C4 01 C1 00 04"), false, {"[3] [e] ответ НЕ получен."}},
        {std::string(answer).replace(sizeof(answer) - 3, 2, "00"),
         false,
         {"[3] mac_frame.parse : не совпали CRC.", "[3] [e] get_response : невалидная CRC ответа (mac_frame.parse)."}},
        {answer + std::string(" 00"), false, {"[3] [e] get_response : невалидная CRC ответа (mac_frame.parse)."}},
        {"7F " + std::string(answer), false, {"[3] [e] get_response : невалидная CRC ответа (mac_frame.parse)."}},
        {hex::with_crc32(
             "EE EE EE EE EE EE 02 00 00 00 30 40 88 E5 00 11 00 00 00 00 00 01 00 16 00 01 00 09 C4 01 C1 00 06 "
             "00 00 04 D2"),
         false,
         {"[3] mac_frame.parse : не совпали мас-адреса отправителя.",
          "[3] [e] get_response : ответ не принят (mac_frame.parse)."}},
        {hex::with_crc32(answer_head + std::string("00 01 00 17 00 01 00 09 C4 01 C1 00 06 00 00 04 D2")),
         false,
         {"[3] wpdu.parse : не тот отправитель : 22 != 23.", "[3] [e] get_response : ответ не принят (wpdu.parse)."}},
        {hex::with_crc32(answer_head + wrapper + "00 0A C4 01 C1 00 06 00 00 04 D2"),
         false,
         {"[3] [e] get_response : ответ не получен (len < data_size)."}},
        // The wrapper may announce less than there is.
        {hex::with_crc32(answer_head + wrapper + "00 06 C4 01 C1 00 11 07 00 00 00"),
         true,
         {"[1] [e] ответ получен : 7."}},
        {hex::with_crc32(answer_head + wrapper + "FF FF C4 01 C1 00 06 00 00 04 D2"), false, {}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.reply);
        Meter meter("dlms.rs");
        meter.line().script.once(request, row.reply).on(request, answer);
        LogCapture log;
        EXPECT_EQ(meter.poll(), row.ok);
        EXPECT_THAT(log.entries(), IsSupersetOf(row.lines));
        EXPECT_THAT(meter.line().sent, ElementsAre(request));
        EXPECT_TRUE(meter.poll()) << "the next one starts clean";
    }
}

TEST(DlmsSerialNew, AnAnswerCutAnywhereFails) {
    std::string const whole = answer;
    for (size_t const length : {1, 20, 36, 37, 38, 40}) {
        Meter meter("dlms.rs");
        meter.line().script.on(request, whole.substr(0, 3 * length));
        EXPECT_FALSE(meter.poll()) << length;
    }
}

TEST(DlmsSerialNew, AnAnswerInPiecesIsOverWithItsLast) {
    TempFolder const folder;
    SerialPeer peer(folder.file("line"));
    peer.script().on(request, Reply{.hex = answer, .fragment = 7, .gap_ms = 5});
    Meter meter("dlms.rs", R"("rto": 600000)");  // a read that waits for it fails the test
    meter.port().cport->rs.path = peer.path();
    meter.port().tran = std::make_unique<rsTran>(meter.port().cport);
    ASSERT_TRUE(meter.port().reconnect());
    EXPECT_TRUE(meter.poll());
}

TEST(DlmsPort, MessagesThatNobodyAskedFor) {
    std::string rows[][3] = {
        {"/devices/m/controls/e", "1", "[2] [p] ProcMessage : топик не заканчивается на '/on'."},
        {"/devices/x/controls/e/on", "1", "[2] [p] ProcMessage : устройство не найдено."},
        {"/devices/m/controls/x/on", "1", "[2] [p] ProcMessage : параметр не найден."},
    };
    for (auto& [topic, payload, line] : rows) {
        Meter meter("dlms.rs");
        LogCapture const log;
        EXPECT_TRUE(meter.port().ProcMessage(topic, payload));
        EXPECT_EQ(log.count(line), 1) << topic;
        EXPECT_TRUE(meter.line().sent.empty());
    }
}

TEST(DlmsSerialOld, WhichPacketNumbersAreNewBehindWhich) {
    Meter meter("dlms.rs.old");
    LogCapture log;
    struct Row {
        int seq;
        bool fresh;
    };
    for (Row const& row :
         {Row{15, true}, {0, true}, {5, true}, {4, false}, {4, false}, {10, true}, {0, true}, {9, true}, {0, false}}) {
        SCOPED_TRACE(row.seq);
        log.clear();
        meter.line().script.on(request, ats(row.seq)).once(accepted, answer);
        EXPECT_EQ(meter.poll(), row.fresh);
        EXPECT_EQ(log.count("[3] [e] ошибка опроса : get_ats : получено предыдущее значение."), row.fresh ? 0 : 1);
    }
}

TEST(DlmsSerialOld, DisturbedExchanges) {
    struct Row {
        char const* name;
        std::vector<std::string> replies;  // to the frames that go out behind the select frame, in turn
        std::vector<std::string> sent;     // behind the request
        std::vector<std::string> lines;
        bool ok = true;
    };
    std::string const damaged = std::string(answer).replace(sizeof(answer) - 3, 2, "00");
    std::string const foreign =
        hex::with_crc32(answer_head + std::string("00 01 00 17 00 01 00 09 C4 01 C1 00 06 00 00 04 D2"));
    std::string const lying =
        hex::with_crc32(answer_head + std::string("00 01 00 16 00 01 04 00 C4 01 C1 00 06 00 00 04 D2"));
    Row const rows[] = {
        {"no status at first",
         {"", ats(1), answer},
         {no_ats, accepted, accepted},
         {"[3] [e] get_ats : ATS не получен."}},
        {"damaged status",
         {"02 00 00 00 30 39 01 00 00 00 00 25 00 00 00 00", ats(1), answer},
         {bad_ats_crc, accepted, accepted},
         {"[3] mac_sel.parse : не совпали CRC.", "[3] [e] get_ats : невалидная ATS CRC."}},
        {"request not taken",
         {ats(1, 4), ats(2), answer},
         {announced, request, accepted, accepted},
         {"[4] [e] get_ats : запрос не принят устройством - повторим."}},
        {"request too large",
         {ats(1, 2)},
         {},
         {"[3] [e] ошибка опроса : get_ats : запрос слишком велик для устройства и отправлен не будет.",
          "[3] [e] ответ НЕ получен."},
         false},
        {"no answer",
         {ats(1), "", ats(2), answer},
         {accepted, no_answer, accepted, accepted},
         {"[4] [e] get_fout : ответ не получен."}},
        {"damaged answer",
         {ats(1), damaged, ats(2), answer},
         {accepted, bad_crc, accepted, accepted},
         {"[4] [e] get_fout : невалидная CRC ответа."}},
        {"answer of another meter",
         {ats(1), foreign, ats(2), answer},
         {accepted, no_answer, accepted, accepted},
         {"[4] [e] get_fout : ответ не принят."}},
        {"wrapper longer than the buffer",
         {ats(1), lying, ats(2), answer},
         {accepted, no_answer, accepted, accepted},
         {"[4] [e] get_fout : ответ не получен."}},
        {"sizes that can't be",
         {ats(1, 0, -1), answer, ats(2, 0, 5000), answer, ats(3), answer},
         {accepted, no_answer, accepted, no_answer, accepted, accepted},
         {"[4] [e] get_fout : ответ не получен."}},
        {"what follows a frame that was read whole stays",
         {ats(1, 0, 3), hex::with_crc32("EE EE EE") + ats(2), "", answer},
         {accepted, no_answer, accepted, accepted},
         {"[4] [e] get_fout : ответ не принят."}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        Meter meter("dlms.rs.old");
        auto left = row.replies.begin();
        meter.line().script.otherwise([&](std::span<unsigned char const> frame) {
            bool const silent = hex::text(frame) == announced || left == row.replies.end();
            return Reply{.hex = silent ? "" : *left++};
        });
        LogCapture const log;
        EXPECT_EQ(meter.poll(), row.ok);
        std::vector<std::string> expected{announced, request};
        expected.insert(expected.end(), row.sent.begin(), row.sent.end());
        EXPECT_EQ(meter.line().sent, expected);
        EXPECT_THAT(log.entries(), IsSupersetOf(row.lines));
        std::vector<std::string> const& timeouts = meter.line().timeouts;
        EXPECT_TRUE(timeouts.empty() || timeouts.back() == "500 500");
    }
}

TEST(DlmsSerialOld, ALineThatIsNeverSilentDoesNotHoldTheWorker) {
    struct Babbler : ScriptTran {
        using ScriptTran::ScriptTran;
        int read(unsigned char* buffer, int count) override { return count == 1 ? 1 : ScriptTran::read(buffer, count); }
    };
    Meter meter("dlms.rs.old");
    meter.port().cport->rto = 50;
    auto line = std::make_unique<Babbler>(meter.port().cport);
    line->open();
    line->script.on(request, ats(1, 0, -1)).on(no_answer, ats(2)).once(accepted, "").once(accepted, answer);
    meter.port().tran = std::move(line);
    EXPECT_TRUE(meter.poll());
}

TEST(DlmsSerialOld, TheSizeOfTheStatusCountsAndNotThatOfTheWrapper) {
    for (char const* wrapper : {"00 01 00 16 00 01 00 05 ", "00 01 00 16 00 01 00 0A "}) {
        Meter meter("dlms.rs.old");
        meter.line()
            .script.on(request, ats(1))
            .once(accepted, hex::with_crc32(std::string(answer_head) + wrapper + "C4 01 C1 00 06 00 00 04 D2"));
        LogCapture const log;
        EXPECT_TRUE(meter.poll());
        EXPECT_EQ(log.count("[1] [e] ответ получен : 1234."), 1);
        EXPECT_TRUE(meter.line().timeouts.empty());
    }
}

TEST(DlmsSerialOld, AStatusAtTheLastOfItsPassesComesTooLate) {
    for (int const silent : {9, 10}) {
        Meter meter("dlms.rs.old");
        int asked = 0;
        meter.line().script.on(announced, "").on(accepted, answer).otherwise([&](std::span<unsigned char const>) {
            return Reply{.hex = asked++ == silent ? ats(1) : ""};
        });
        LogCapture const log;
        EXPECT_EQ(meter.poll(), silent == 9);
        EXPECT_EQ(log.count("[3] [e] ошибка опроса : get_fout : ответ не получен."), silent == 9 ? 0 : 1);
    }
}

TEST(DlmsSerialOld, AMeterThatNeverGetsReady) {
    struct Row {
        std::string status;
        char const* complaint;
    };
    for (Row const& row : {Row{ats(3, 0, 0), accepted}, Row{"", no_ats}}) {
        Meter meter("dlms.rs.old");
        meter.line().script.otherwise(Reply{.hex = row.status});
        LogCapture const log;
        EXPECT_FALSE(meter.poll());
        EXPECT_EQ(log.count("[3] [e] ошибка опроса : get_ats : ответ не получен."), 1);
        EXPECT_EQ(std::count(meter.line().sent.begin(), meter.line().sent.end(), row.complaint), 11);
    }
}

TEST(DlmsSerial, ALineThatRaises) {
    struct Row {
        char const* type;
        bool in_write;
        std::vector<std::string> lines;
    };
    Row const rows[] = {
        {"dlms.rs", true, {"[3] [p] dport_rs.send_all  : ошибка записи : no line.", "[3] [e] ответ НЕ получен."}},
        {"dlms.rs",
         false,
         {"[3] [e] dport_rs.read : ошибка чтения : no line.", "[3] [e] get_response : ответ не получен (read)."}},
        {"dlms.rs.old",
         false,
         {"[3] [e] dport_rs.read_all : ошибка чтения : no line.",
          "[3] [e] ошибка опроса : get_ats : ответ не получен."}},
    };
    for (Row const& row : rows) {
        Meter meter(row.type);
        meter.line().writes_raise = row.in_write;
        meter.line().reads_raise = !row.in_write;
        LogCapture const log;
        EXPECT_FALSE(meter.poll());
        EXPECT_THAT(log.entries(), IsSupersetOf(row.lines));
    }
}

TEST(DlmsSerialNew, TimeOutsAreTheParametersAndOfTheCommandTheDevices) {
    Meter meter("dlms.rs", R"("rto": 9)");
    meter.poll();
    ByteList command;
    command.push_8(0);
    meter.port().get_response(command, &meter.dev(), nullptr);
    EXPECT_THAT(meter.line().timeouts, ElementsAre("9 8", "7 8"));
}

TEST(DlmsTcp, AddressesFromTheList) {
    constexpr char list_request[] = "00 01 00 01 00 01 00 0D C0 01 C1 00 11 00 00 29 00 00 FF 02 00";
    struct Row {
        char const* guards;
        char const* reply;
        char const* sn;
        bool read;
        int address;
        bool enabled;
    };
    // Entries: 5 "XAB1", 6 "AB1"; and one whose address is no number.
    constexpr char two[] =
        "00 01 00 01 00 01 00 1C C4 01 C1 00 01 02 02 02 12 00 05 0A 04 58 41 42 31 02 02 12 00 06 0A 03 41 42 31 00";
    Row const rows[] = {
        {"the first entry in which the number lies", two, "AB1", true, 5, true},
        {"an empty number", two, "", true, 5, true},
        {"not on the list", two, "AB2", true, 1, false},
        {"no answer", "", "AB1", false, 1, true},
        {"the answer of another", "00 01 00 02 00 01 00 05 C4 01 C1 00 11", "AB1", false, 1, true},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.guards);
        Meter meter("dlms.tcp");
        meter.dev().sn = row.sn;
        meter.line().script.on(list_request, row.reply);
        LogCapture const log;
        EXPECT_EQ(dynamic_cast<xdlms::dport_tcp&>(meter.port()).poll_devices(), row.read);
        EXPECT_EQ(meter.dev().dlms_addr, row.address);
        EXPECT_EQ(meter.dev().enabled, row.enabled);
        EXPECT_EQ(log.count("[1] [p] #a##s#5#s#XAB1#s##a##s#6#s#AB1#s##a#"), row.read ? 1 : 0);
    }
    Meter meter("dlms.tcp");
    meter.dev().sn = "";
    meter.line().script.on(list_request, "00 01 00 01 00 01 00 0C C4 01 C1 00 01 01 02 01 0A 02 41 42");
    EXPECT_THROW(dynamic_cast<xdlms::dport_tcp&>(meter.port()).poll_devices(), std::invalid_argument);
    // Longer than the port's buffer.
    std::string list = "00 01 00 01 00 01 04 28 C4 01 C1 00 01 05";
    for (int entry = 0; entry < 4; ++entry) {
        list += " 02 02 12 00 09 0A FF";
        for (int letter = 0; letter < 255; ++letter) {
            list += " 58";
        }
    }
    meter.dev().sn = "AB1";
    meter.line().script.on(list_request, list + " 02 02 12 00 06 0A 03 41 42 31");
    meter.line().flush_in();
    EXPECT_TRUE(dynamic_cast<xdlms::dport_tcp&>(meter.port()).poll_devices());
    EXPECT_EQ(meter.dev().dlms_addr, 6);
}

TEST(DlmsTcp, OneExchange) {
    constexpr char tcp_request[] = "00 01 00 01 00 16 00 0D C0 01 C1 00 03 01 00 01 08 00 FF 02 00";
    struct Row {
        char const* reply;
        bool ok;
        std::vector<std::string> lines;
    };
    Row const rows[] = {
        {"00 01 00 16 00 01 00 09 C4 01 C1 00 06 00 00 04 D2", true, {"[4] [e] get_response."}},
        {"", false, {"[3] [e] не удалось получить заголовок ответа."}},
        {"00 01 00 16 00 01 00", false, {"[3] [e] не удалось получить заголовок ответа."}},
        {"00 01 00 17 00 01 00 09 C4 01 C1 00 06 00 00 04 D2",
         false,
         {"[3] wpdu.parse : не тот отправитель : 22 != 23.", "[3] [e] ошибки при получении заголовка ответа."}},
        {"00 02 00 16 00 01 00 00", false, {"[3] [e] ошибки при получении заголовка ответа."}},
        {"00 01 00 16 00 01 00 06 C4 01 C1 00 11 07 00 01 00 16", true, {"[1] [e] ответ получен : 7."}},
        {"00 01 00 16 00 01 FF FF C4 01 C1 00 06 00 00 04 D2", false, {"[3] [e] не удалось получить ответ."}},
        {"00 01 00 16 00 01 00 00",
         false,
         {"[3] pdu.parse : ответ не получен или меньше минимального размера.", "[3] [e] ответ НЕ получен."}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.reply);
        Meter meter("dlms.tcp");
        meter.line().script.once(tcp_request, row.reply).on(tcp_request, rows[0].reply);
        LogCapture const log;
        EXPECT_EQ(meter.poll(), row.ok);
        EXPECT_THAT(log.entries(), IsSupersetOf(row.lines));
        EXPECT_TRUE(meter.poll()) << "the next one starts clean";
    }
    Meter meter("dlms.tcp");
    meter.line().writes_fail = true;
    LogCapture const log;
    EXPECT_FALSE(meter.poll());
    EXPECT_THAT(log.entries(), Contains("[3] [e] не удалось отправить запрос."));
}

TEST(DlmsPort, TheFaultOfAMeterIsToldOnce) {
    Meter meter("dlms.tcp");
    xdlms::cddev& dev = meter.dev();
    struct Row {
        unsigned int polls;
        unsigned int errors;
        bool fault;
    };
    for (Row const& row : {Row{0, 0, false}, {2, 1, false}, {2, 2, true}, {0, 0, true}, {1, 1, true}, {3, 2, false}}) {
        dev.polls = row.polls;
        dev.errors = row.errors;
        meter.port().CheckFault(&dev);
        EXPECT_EQ(dev.fault, row.fault);
        EXPECT_EQ(dev.polls + dev.errors, 0U);
    }
}
