// The Emera driver without a line: what its scenarios can't show of frames, checksums and numbers.

#include <exception>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/line/hex.h"
#include "drivers/emera/device.h"
#include "drivers/emera/pdu.h"
#include "support/driver_rig.h"
#include "support/log_capture.h"
#include "support/sample_config.h"

using emera::edev;
using emera::epdu;
using testing::ElementsAre;

TEST(EmeraPdu, ChecksumsOfAnswers) {
    struct Row {
        char const* guards;
        char const* frame;
        bool good;
        char const* bcc;  // expected, where, received
    };
    Row const rows[] = {
        {"an STX isn't counted", "02 41 42 03 06", true, "06 4 06"},
        {"nor is an SOH", "01 41 42 03 06", true, "06 4 06"},
        {"plain", "41 42 03 06", true, "06 3 06"},
        {"bytes behind it", "41 42 03 06 FF FF", true, "06 3 06"},
        {"up to the first ETX", "41 03 44 03 08", true, "44 2 44"},
        {"the highest bit counts", "41 42 03 86", false, "06 3 86"},
        {"cut behind the ETX", "41 42 03", false, "06 3 00"},
        {"no ETX", "41 42 43 44", false, "0A 4 00"},
        {"an STX alone", "02", false, "00 1 00"},
    };
    for (Row const& row : rows) {
        auto const bcc = epdu::crc_check(hex::bytes(row.frame));
        EXPECT_EQ(bcc.fits, row.good) << row.guards;
        EXPECT_EQ(xCommon::xString::Format("%02X %d %02X", bcc.expected, bcc.at, bcc.received), row.bcc) << row.guards;
    }
    EXPECT_FALSE(epdu::crc_check({}).fits);
}

TEST(EmeraDevice, PartsOfTheDecoder) {
    char const* const nested[][2] = {{"7", "7"}, {"a(7", "7"}, {"ab(c(7", "c(7"}, {"a(bc(7", "7"}, {"((7", "(7"}};
    for (auto const& [text, rest] : nested) {
        EXPECT_EQ(edev::reg_check(text), rest) << text;
    }
    struct Row {
        char const* text;
        int pos;
        int len;
        int number;
    };
    for (Row const& row : {Row{"0123 ", 2, 2, 23}, {"0123", 2, 2, 0}, {"-12", 0, 2, -1}, {"0123", -1, 2, 0}}) {
        EXPECT_EQ(edev::get_int(row.text, row.pos, row.len), row.number) << row.text;
    }
    xCommon::ByteList frame;
    frame.push_8(0xAA);
    epdu::wrap(frame, "", "A");
    epdu::wrap(frame, "12", "");
    EXPECT_EQ(hex::text({frame.data(), frame.size()}), "AA");
    epdu::wrap(frame, "A-7", "zzz()");
    EXPECT_EQ(hex::text({frame.data(), frame.size()}), "2F 3F 41 2D 37 21 01 52 31 02 7A 7A 7A 28 29 03 47");
    DriverRig rig(R"({"name": "flat", "sid": "12", "type": "emera", "params": [{"name": "e", "cmd": "A"}]})");
    EXPECT_FALSE(rig.dev<edev>().poll_param(nullptr));
    EXPECT_FALSE(rig.dev<edev>().get_response(nullptr).is_crc_ok);
    rig.line().close();
    EXPECT_FALSE(rig.dev<edev>().poll_param(&rig.param<emera::ecparam>()));
    Json::Value node = sample::json(R"({"name": "d", "type": "emera", "sid": "1"})");
    EXPECT_THROW(emera::ecdev(nullptr, node), std::exception);
}
