// Where a read of unknown length may end: the frames are those of the protocols' maps, written out.

#include <memory>
#include <span>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/line/hex.h"
#include "ctl/line/serial_peer.h"
#include "drivers/emera/pdu.h"
#include "drivers/meter/data_reply.h"
#include "drivers/vkt7rtu/pdu.h"
#include "drivers/xdlms/mac_frame.h"
#include "support/driver_rig.h"
#include "support/tcp_peer.h"
#include "support/temp_folder.h"
#include "transport/line_nodes.h"
#include "transport/rs_tran.h"
#include "transport/tcp_tran.h"

TEST(WholeFrame, OnlyAllOfOneFrameEndsARead) {
    struct Row {
        char const* protocol;
        iTran::WholeFrame is_whole;
        std::string frame;
    };
    std::string const mac = "01 02 03 04 05 06 11 12 13 14 15 16 88 E5 00 0C 00 00 00 00 00 01 00 01 00 16 ";
    Row const rows[] = {
        {"VKT-7, a read", vkt7rtu::pdu::is_whole, "01 03 06 07 00 00 00 C0 00 70 C2"},
        {"VKT-7, an empty list", vkt7rtu::pdu::is_whole, hex::with_crc16("01 03 00")},
        // Each begins with less that ends in a good checksum.
        {"VKT-7, a read", vkt7rtu::pdu::is_whole, hex::with_crc16(hex::with_crc16("01 03 06 00 00 00 00"))},
        {"VKT-7, a write", vkt7rtu::pdu::is_whole, hex::with_crc16(hex::with_crc16("01 10 3F") + " 00")},
        {"DLMS", xdlms::mac_frame::is_whole, hex::with_crc32(hex::with_crc32(mac + "00 08 C4 01 C1 00"))},
        {"VKT-7, a refusal", vkt7rtu::pdu::is_whole, hex::with_crc16("01 83 02")},
        {"Emera", emera::epdu::is_whole, "02 45 54 30 50 45 28 31 2E 35 29 03 46"},
        {"Emera, without an STX", emera::epdu::is_whole, "28 31 29 03 05"},
        {"Emera, NAK", emera::epdu::is_whole, "15"},
        {"session", meter::is_short_reply, "05 00 02 E0"},
        {"DLMS", xdlms::mac_frame::is_whole, hex::with_crc32(mac + "00 04 C4 01 C1 00")},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::string(row.protocol) + " : " + row.frame);
        hex::Bytes const frame = hex::bytes(row.frame);
        EXPECT_TRUE(row.is_whole(frame));
        for (size_t size = 0; size < frame.size(); ++size) {
            EXPECT_FALSE(row.is_whole(std::span(frame).first(size))) << "cut at " << size;
            hex::Bytes damaged = frame;
            damaged[size] ^= 0x04;
            EXPECT_FALSE(row.is_whole(damaged)) << "damaged at " << size;
        }
        EXPECT_FALSE(row.is_whole(hex::bytes(row.frame + " " + row.frame))) << "two frames in a row";
        EXPECT_FALSE(row.is_whole(hex::bytes(row.frame + " 00"))) << "a byte behind it";
        EXPECT_FALSE(row.is_whole(hex::bytes("7F " + row.frame))) << "noise ahead";
    }
    EXPECT_FALSE(vkt7rtu::pdu::is_whole(hex::bytes(hex::with_crc16("01 04 02 00 00 00")))) << "no function of its own";
}

// A read that waits for its time-out fails the test.
TEST(WholeFrame, AnAnswerInPiecesIsOverWithItsLastOnEveryLine) {
    constexpr int rto_ms = 600000;
    TempFolder const folder;
    SerialPeer serial(folder.file("line"));
    TcpPeer tcp;
    auto const serial_node = line_nodes::serial(serial.path(), rto_ms);
    auto const tcp_node = line_nodes::tcp(tcp.port(), rto_ms);
    for (bool const on_tcp : {false, true}) {
        (on_tcp ? tcp.script() : serial.script())
            .on("2F 3F 31 32 21 01 52 31 02 45 54 30 50 45 28 29 03 37",
                Reply{.hex = "02 45 54 30 50 45 28 31 2E 35 29 03 46", .fragment = 2, .gap_ms = 5});
        DriverRig rig(R"j({"name": "d", "type": "emera", "sid": "12", "params": [{"name": "v", "cmd": "ET0PE()"}]})j",
                      R"(, "rto": 600000)");
        rig.port().tran = on_tcp ? std::unique_ptr<iTran>(std::make_unique<tcpTran>(tcp_node.get()))
                                 : std::make_unique<rsTran>(serial_node.get());
        ASSERT_TRUE(rig.port().tran->open());
        rig.port().devices[0]->poll_param(&rig.param<CParam>());
        EXPECT_THAT(rig.published(), testing::ElementsAre("v=1.5")) << on_tcp;
    }
}
