#include "transport/rs_tran.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include "ctl/line/hex.h"
#include "ctl/line/pty_line.h"
#include "ctl/line/responder.h"
#include "ctl/line/wait_until.h"
#include "support/log_capture.h"
#include "support/process_info.h"
#include "support/temp_folder.h"
#include "transport/line_nodes.h"

using std::chrono::milliseconds;
using xCommon::ByteList;

namespace {

/// A transport on a pseudo-terminal; the test itself is the far side.
class RsTran : public testing::Test {
 protected:
    /// The far side sends.
    void send(char const* frame) { ASSERT_TRUE(write_bytes(pty_.master(), hex::bytes(frame))); }

    /// The far side sends when some time has passed.
    std::jthread send_later(int after_ms, char const* frame) {
        return std::jthread([this, after_ms, frame] {
            std::this_thread::sleep_for(milliseconds(after_ms));
            write_bytes(pty_.master(), hex::bytes(frame));
        });
    }

    /// What the far side has got, awaited.
    std::string received(size_t count) {
        hex::Bytes all;
        while (all.size() < count) {
            unsigned char piece[256];
            ssize_t const got = read(pty_.master(), piece, std::min(sizeof(piece), count - all.size()));
            if (got <= 0) {
                break;
            }
            all.insert(all.end(), piece, piece + got);
        }
        return hex::text(all);
    }

    std::string read_text(int count) {
        hex::Bytes buffer(static_cast<size_t>(count));
        int const got = line_.read(buffer.data(), count);
        return got < 0 ? "closed" : hex::text(std::span(buffer).first(static_cast<size_t>(got)));
    }

    TempFolder folder_;
    PtyLine pty_{folder_.file("line")};
    LogCapture log_;
    std::unique_ptr<CPort> node_ = line_nodes::serial(pty_.path(), 100);
    rsTran line_{node_.get()};
};

}  // namespace

TEST_F(RsTran, AClosedLineFailsSoftlyAndWithoutALogLine) {
    unsigned char buffer[4] = {};
    ByteList list = line_nodes::list_of("01 02");
    EXPECT_FALSE(line_.is_open());
    EXPECT_EQ(line_.read(buffer, 4), -1);
    EXPECT_EQ(line_.write(buffer, 4), -1);
    EXPECT_EQ(line_.write(list), -1);
    EXPECT_FALSE(line_.read_all(buffer, 0));
    EXPECT_FALSE(line_.write_all(buffer, 0));
    EXPECT_FALSE(line_.write_all(list));
    line_.flush();
    line_.set_timeout(1, 1);
    line_.close();
    EXPECT_TRUE(log_.entries().empty());
}

/// A tool that has the line for itself doesn't keep the daemon from it, and the daemon doesn't keep a second port.
TEST_F(RsTran, IsOpenedThoughSomebodyHoldsTheLine) {
    ASSERT_TRUE(line_.open());
    rsTran second(node_.get());
    EXPECT_TRUE(second.open());
    EXPECT_FALSE(log_.has("занята"));
    second.close();
    line_.close();

    int const holder = open(pty_.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(flock(holder, LOCK_EX | LOCK_NB), 0);
    EXPECT_TRUE(line_.open() && line_.open());
    EXPECT_EQ(log_.count("[3] [p] линия " + pty_.path() + " занята другой программой : открыта без блокировки."), 1);
    close(holder);
    EXPECT_TRUE(line_.open());

    xserial::xrs::lock = xserial::xrs::Lock::own;
    EXPECT_FALSE(second.open());
    line_.close();
    EXPECT_TRUE(second.open());
    xserial::xrs::lock = xserial::xrs::Lock::shared;
}

TEST_F(RsTran, AnAbsentDeviceIsToldInTwoLines) {
    std::string const path = folder_.file("absent");
    auto const node = line_nodes::serial(path, 100);
    rsTran line(node.get());
    EXPECT_FALSE(line.open());
    EXPECT_FALSE(line.reopen());
    std::vector<std::string> const once = {"[3] [p] ошибка открытия порта : " + path + " : No such file or directory.",
                                           "[3] [p] не удалось открыть COM порт."};
    EXPECT_EQ(log_.entries(), (std::vector<std::string>{once[0], once[1], once[0], once[1]}));

    auto const no_terminal = line_nodes::serial(folder_.write("file", "text"), 100);
    rsTran other(no_terminal.get());
    EXPECT_FALSE(other.open());
    EXPECT_FALSE(other.is_open());
    EXPECT_EQ(log_.count("[3] [p] не удалось открыть COM порт."), 3);
    EXPECT_TRUE(log_.has("[3] [p] ошибка открытия порта : " + folder_.file("file") + " : Inappropriate ioctl"));
}

TEST_F(RsTran, SettingsInForceReachTheLineAtTheNextOpening) {
    using xserial::flowcontrol_t;
    using xserial::stopbits_t;
    std::tuple<unsigned int, xserial::stopbits_t, xserial::flowcontrol_t, LineSettings> const rows[] = {
        {9600, stopbits_t::one, flowcontrol_t::none, {9600, 1, false, false}},
        {300, stopbits_t::two, flowcontrol_t::none, {300, 2, false, false}},
        {921600, stopbits_t::one_and_half, flowcontrol_t::software, {921600, 2, true, false}},
        {12345, stopbits_t::one, flowcontrol_t::hardware, {12345, 1, false, true}},
    };
    for (auto const& [baudrate, stopbits, flow, expected] : rows) {
        SCOPED_TRACE(baudrate);
        line_.settings.baudrate = baudrate;
        line_.settings.stopbits = stopbits;
        line_.settings.flowcontrol = flow;
        ASSERT_TRUE(line_.open());
        EXPECT_EQ(pty_.settings(), expected);
    }
    // Rates with a name of their own, and their neighbours, which go to the driver as numbers.
    for (unsigned int const rate :
         {9600U, 50U,    75U,    110U,   134U,    150U,    200U,    300U,    600U,    1200U,   1800U,   2400U,
          4800U, 19200U, 38400U, 57600U, 115200U, 230400U, 460800U, 500000U, 576000U, 921600U, 1000000U}) {
        for (unsigned int const set : {rate - 1, rate, rate + 1}) {
            line_.settings.baudrate = set;
            ASSERT_TRUE(line_.open());
            EXPECT_EQ(pty_.settings().baudrate, set);
        }
    }
    line_.settings.parity = xserial::parity_t::invalid;
    EXPECT_FALSE(line_.open());
    EXPECT_TRUE(log_.has("[3] [p] ошибка открытия порта : " + pty_.path() + " : невалидные настройки."));
    EXPECT_FALSE(line_.is_open());
}

TEST_F(RsTran, OpeningAgainHoldsOneDescriptorAndDropsWhatLayThere) {
    ASSERT_TRUE(line_.open());
    size_t const descriptors = process_info::descriptors(getpid()).size();
    for (int time = 0; time < 5; ++time) {
        ASSERT_TRUE(line_.open());
        EXPECT_TRUE(line_.reopen());
    }
    EXPECT_EQ(process_info::descriptors(getpid()).size(), descriptors);
    line_.close();
    EXPECT_EQ(process_info::descriptors(getpid()).size(), descriptors - 1);
    send("01 02 03");
    ASSERT_TRUE(line_.open());
    EXPECT_EQ(read_text(1), "");
}

TEST_F(RsTran, AReadGathersUntilItsTimeOut) {
    ASSERT_TRUE(line_.open());
    Stopwatch const silence;
    EXPECT_EQ(read_text(4), "");
    EXPECT_GE(silence.ms(), 100) << "the port's time-out";
    // The time-out, what comes at once and later, what is read of 4 bytes, and the time that this may take.
    std::tuple<int, char const*, char const*, char const*, int, int> const rows[] = {
        {5000, "01 02", "03 04 05", "01 02 03 04", 0, 4000},  // a pause between bytes ends no read, the last byte does
        {200, "", "", "05", 200, 4000},                       // what nobody asked for stays for the next read
        {0, "", "", "", 0, 100},                              // no wait at all
    };
    for (auto const& [timeout, at_once, later, read, least, most] : rows) {
        line_.set_timeout(timeout, 500);
        Stopwatch const watch;
        auto const second = send_later(*later == '\0' ? 0 : 150, later);
        send(at_once);
        EXPECT_EQ(read_text(4), read) << timeout;
        EXPECT_GE(watch.ms(), least) << timeout;
        EXPECT_LT(watch.ms(), most) << timeout;
    }
    EXPECT_EQ(read_text(0), "");
    EXPECT_TRUE(line_.is_open());
    EXPECT_TRUE(log_.entries().empty());
}

TEST_F(RsTran, AReadOfAFrameEndsWithItOrWithItsTimeOut) {
    auto const read_frame = [this] {
        hex::Bytes buffer(8);
        int const got = line_.read_frame(buffer.data(), 8, [](auto arrived) { return arrived.size() == 4; });
        return got < 0 ? "closed" : hex::text(std::span(buffer).first(static_cast<size_t>(got)));
    };
    EXPECT_EQ(read_frame(), "closed");
    ASSERT_TRUE(line_.open());
    {
        line_.set_timeout(600000, 500);
        auto const second = send_later(50, "03 04");
        send("01 02");
        EXPECT_EQ(read_frame(), "01 02 03 04");
    }
    line_.set_timeout(300, 500);
    auto const rest = send_later(50, "06");
    send("01 02 03 04 05");
    EXPECT_EQ(read_frame(), "01 02 03 04 05 06") << "more behind it: all that comes in time";
    EXPECT_EQ(read_frame(), "") << "silence";
}

TEST_F(RsTran, ReadAllWantsAllOrNothing) {
    ASSERT_TRUE(line_.open());
    hex::Bytes buffer(8);
    EXPECT_TRUE(line_.read_all(buffer.data(), 0));
    EXPECT_TRUE(line_.read_all(buffer.data(), -1));
    send("01 02 03");
    EXPECT_FALSE(line_.read_all(buffer.data(), 4));
    EXPECT_EQ(read_text(1), "") << "what had arrived is lost";
    send("01");
    EXPECT_TRUE(line_.read_all(buffer.data(), 1));
    line_.set_timeout(5000, 500);
    auto const second = send_later(100, "03 04");
    send("01 02");
    EXPECT_TRUE(line_.read_all(buffer.data(), 4));
    EXPECT_EQ(hex::text(std::span(buffer).first(4)), "01 02 03 04");
}

TEST_F(RsTran, EveryFormOfWriteReachesTheFarSide) {
    ASSERT_TRUE(line_.open());
    unsigned char bytes[] = {0x00, 0x11, 0x0D, 0x0A, 0x13, 0xFF};  // what a terminal might take for its own
    EXPECT_EQ(line_.write(bytes, 6), 6);
    EXPECT_EQ(received(6), "00 11 0D 0A 13 FF");
    EXPECT_TRUE(line_.write_all(bytes, 6));
    EXPECT_TRUE(line_.write_all(bytes, 1));
    EXPECT_EQ(received(7), "00 11 0D 0A 13 FF 00");
    ByteList list = line_nodes::list_of("01 02 03");
    EXPECT_EQ(line_.write(list), 3);
    EXPECT_TRUE(line_.write_all(list));
    EXPECT_EQ(received(6), "01 02 03 01 02 03");
    ByteList nothing;
    EXPECT_EQ(line_.write(nothing), 0);
    EXPECT_FALSE(line_.write_all(nothing));
    EXPECT_TRUE(line_.write_all(bytes, 0));
    EXPECT_EQ(line_.write(bytes, 0), 0);
}

TEST_F(RsTran, AFarSideThatTakesNothingCostsTheSendTimeOutOnly) {
    auto const node = line_nodes::serial(pty_.path(), 100, 200);
    rsTran line(node.get());
    ASSERT_TRUE(line.open());
    std::vector<unsigned char> much(1 << 20, 0x55);
    Stopwatch const watch;
    int const sent = line.write(much.data(), static_cast<int>(much.size()));
    EXPECT_GE(watch.ms(), 200);
    EXPECT_LT(watch.ms(), 3000);
    EXPECT_GT(sent, 0);
    EXPECT_LT(sent, static_cast<int>(much.size()));
    EXPECT_TRUE(line.is_open());
}

TEST_F(RsTran, FlushDropsWhatHasComeIn) {
    ASSERT_TRUE(line_.open());
    send("01 02 03");
    ASSERT_EQ(read_text(1), "01") << "it has arrived";
    line_.flush();
    EXPECT_EQ(read_text(1), "");
    send("04");
    EXPECT_EQ(read_text(1), "04");
}

TEST_F(RsTran, AHangUpClosesInEveryOperationAndReopenRecovers) {
    unsigned char buffer[4] = {};
    std::pair<char const*, std::function<void()>> const rows[] = {
        {"read", [&] { EXPECT_LE(line_.read(buffer, 4), 0); }},
        {"read_all", [&] { EXPECT_FALSE(line_.read_all(buffer, 4)); }},
        {"write", [&] { EXPECT_LE(line_.write(buffer, 4), 0); }},
        {"write_all", [&] { EXPECT_FALSE(line_.write_all(buffer, 4)); }},
        {"flush", [&] { line_.flush(); }},
    };
    for (auto const& [name, operation] : rows) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(line_.reopen());
        line_.set_timeout(10000, 10000);
        pty_.unplug();
        Stopwatch const watch;
        EXPECT_NO_THROW(operation());
        EXPECT_LT(watch.ms(), 5000) << "it sat through the time-out";
        EXPECT_FALSE(line_.is_open());
        EXPECT_EQ(line_.read(buffer, 4), -1);
        EXPECT_EQ(line_.write(buffer, 4), -1);
        EXPECT_FALSE(line_.reopen());
        pty_.plug();
        EXPECT_TRUE(line_.reopen());
        send("2A");
        EXPECT_EQ(read_text(1), "2A");
    }
}

TEST_F(RsTran, AHangUpInAWaitEndsIt) {
    ASSERT_TRUE(line_.open());
    line_.set_timeout(20000, 500);
    Stopwatch const watch;
    std::jthread const far_side([this] {
        std::this_thread::sleep_for(milliseconds(150));
        pty_.unplug();
    });
    EXPECT_EQ(read_text(4), "");
    EXPECT_LT(watch.ms(), 10000);
    EXPECT_FALSE(line_.is_open());
}
