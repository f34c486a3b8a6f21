#include "transport/tcp_tran.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "ctl/line/hex.h"
#include "ctl/line/wait_until.h"
#include "support/log_capture.h"
#include "support/tcp_peer.h"
#include "transport/line_nodes.h"

using std::chrono::milliseconds;
using std::chrono::seconds;
using xCommon::ByteList;

namespace {

constexpr char refused[] = "[3] [p] не удалось открыть TCP соединение.";
constexpr auto limit = seconds(10);

/// A transport and the peer that it connects to; the read time-out is long, so that only a failure waits for it.
class TcpTran : public testing::Test {
 protected:
    void open_connected() {
        ASSERT_TRUE(line_.open());
        ASSERT_TRUE(line_.is_open());
        ASSERT_TRUE(wait_until([this] { return peer_.connected(); }, limit));
    }

    std::string read_text(int count) {
        hex::Bytes buffer(static_cast<size_t>(count));
        int const got = line_.read(buffer.data(), count);
        return got < 0 ? "gone" : hex::text(std::span(buffer).first(static_cast<size_t>(got)));
    }

    TcpPeer peer_;
    LogCapture log_;
    std::unique_ptr<CPort> node_ = line_nodes::tcp(peer_.port(), 5000);
    tcpTran line_{node_.get()};
    unsigned char buffer_[16] = {0xA1, 0xA2, 0xA3, 0xA4};
};

}  // namespace

TEST_F(TcpTran, ARefusedConnectionIsOneLineAndNoFailure) {
    peer_.stop_listening();
    EXPECT_TRUE(line_.open());
    EXPECT_FALSE(line_.is_open());
    EXPECT_EQ(log_.count("[3]"), 1);
    EXPECT_EQ(log_.count(refused), 1);
    EXPECT_EQ(log_.count("[4] [p] открытие TCP соединения : 127.0.0.1:" + std::to_string(peer_.port()) + "."), 1);
}

TEST_F(TcpTran, EveryOperationOnAClosedConnectionTriesOnceAndFailsSoftly) {
    peer_.stop_listening();
    ByteList list = line_nodes::list_of("01 02");
    std::pair<char const*, std::function<void()>> const rows[] = {
        {"read", [&] { EXPECT_LE(line_.read(buffer_, 4), 0); }},
        {"read_all", [&] { EXPECT_FALSE(line_.read_all(buffer_, 4)); }},
        {"write", [&] { EXPECT_LE(line_.write(buffer_, 4), 0); }},
        {"write of a list", [&] { EXPECT_LE(line_.write(list), 0); }},
        {"write_all", [&] { EXPECT_FALSE(line_.write_all(buffer_, 4)); }},
        {"write_all of a list", [&] { EXPECT_FALSE(line_.write_all(list)); }},
    };
    for (auto const& [name, operation] : rows) {
        SCOPED_TRACE(name);
        log_.clear();
        Stopwatch const watch;
        EXPECT_NO_THROW(operation());
        EXPECT_LT(watch.ms(), 2500);
        EXPECT_EQ(log_.count(refused), 1);
        EXPECT_EQ(log_.count("[3]"), 1);
        EXPECT_FALSE(line_.is_open());
    }
    log_.clear();
    line_.flush();
    EXPECT_EQ(log_.entries(), std::vector<std::string>{"[3] [p] tcpTran::flush_in : ошибка (is_open)."});
    EXPECT_NO_THROW(line_.set_timeout(1, 1));
    EXPECT_NO_THROW(line_.close());
}

TEST_F(TcpTran, AWriteReconnectsWhenThePeerIsBack) {
    peer_.stop_listening();
    ASSERT_TRUE(line_.open());
    peer_.listen();
    EXPECT_TRUE(line_.write_all(buffer_, 4));
    EXPECT_TRUE(line_.is_open());
    EXPECT_TRUE(peer_.log().wait_for("A1 A2 A3 A4", limit));
    EXPECT_EQ(peer_.connections(), 1);
}

TEST_F(TcpTran, EveryFormOfWriteReachesThePeer) {
    open_connected();
    ByteList list = line_nodes::list_of("0B 0C");
    EXPECT_EQ(line_.write(buffer_, 4), 4);
    EXPECT_TRUE(peer_.log().wait_for("A1 A2 A3 A4", limit));
    EXPECT_TRUE(line_.write_all(buffer_, 2));
    EXPECT_TRUE(peer_.log().wait_for("A1 A2", limit));
    EXPECT_EQ(line_.write(list), 2);
    EXPECT_TRUE(peer_.log().wait_for("0B 0C", limit));
    EXPECT_TRUE(line_.write_all(list));
    EXPECT_TRUE(peer_.log().wait_for("0B 0C", limit, 2));
    EXPECT_EQ(peer_.connections(), 1);
}

TEST_F(TcpTran, AReadTakesTheFirstArrivalAndReadAllTheWhole) {
    open_connected();
    ASSERT_TRUE(peer_.send("01 02"));
    Stopwatch const watch;
    EXPECT_EQ(read_text(4), "01 02");
    EXPECT_LT(watch.ms(), 4000) << "it waited for more";
    ASSERT_TRUE(peer_.send("03 04 05"));
    EXPECT_EQ(read_text(2), "03 04");
    EXPECT_EQ(read_text(2), "05");
    peer_.script().on("A1 A2", Reply{.hex = "01 02 03 04 05", .fragment = 1, .gap_ms = 40});
    EXPECT_TRUE(line_.write_all(buffer_, 2));
    EXPECT_TRUE(line_.read_all(buffer_, 5));
    EXPECT_EQ(hex::text(std::span(buffer_).first(5)), "01 02 03 04 05");
    EXPECT_TRUE(line_.read_all(buffer_, 0));
}

TEST_F(TcpTran, AReadOfKnownLengthGathersPiecesWithinOneTimeOut) {
    open_connected();
    auto const gather = [this](int count) {
        hex::Bytes buffer(static_cast<size_t>(count));
        int const got = line_.read_count(buffer.data(), count);
        return got < 0 ? "gone" : hex::text(std::span(buffer).first(static_cast<size_t>(got)));
    };
    peer_.script().on("A1", Reply{.hex = "01 02 03 04 05 06 07 08", .fragment = 1, .gap_ms = 60});
    ASSERT_TRUE(line_.write_all(buffer_, 1));
    EXPECT_EQ(gather(5), "01 02 03 04 05");
    EXPECT_EQ(gather(3), "06 07 08");

    // Each piece comes in time, the last of them too late for the whole.
    peer_.script().on("A2", Reply{.hex = "01 02 03 04 05 06", .fragment = 1, .gap_ms = 200});
    line_.set_timeout(500, 500);
    ASSERT_TRUE(line_.write_all(buffer_ + 1, 1));
    Stopwatch const watch;
    EXPECT_LT(gather(6).size(), hex::text(hex::bytes("01 02 03 04 05 06")).size());
    EXPECT_GE(watch.ms(), 500);
    EXPECT_LT(watch.ms(), 900);
    EXPECT_TRUE(line_.is_open());

    // The time-out in force is the same as before. The rest of the late answer has come and gone by then.
    ASSERT_TRUE(wait_until(
        [&] {
            line_.flush();
            return watch.ms() > 1800;
        },
        limit));
    Stopwatch const silence;
    EXPECT_EQ(gather(6), "");
    EXPECT_GE(silence.ms(), 500);

    peer_.script().on("A3", Reply{.hex = "01 02 03 04", .hang_up = HangUp::in_reply});
    ASSERT_TRUE(line_.write_all(buffer_ + 2, 1));
    EXPECT_EQ(gather(4), "01 02") << "what came before the end of the stream";
    EXPECT_FALSE(line_.is_open());
}

TEST_F(TcpTran, ATimeOutLeavesTheConnection) {
    open_connected();
    line_.set_timeout(150, 150);
    Stopwatch const watch;
    EXPECT_EQ(read_text(4), "");
    EXPECT_GE(watch.ms(), 150);
    EXPECT_LT(watch.ms(), 3000);
    ASSERT_TRUE(peer_.send("01 02"));
    EXPECT_FALSE(line_.read_all(buffer_, 3)) << "partial";
    EXPECT_TRUE(line_.is_open());
    line_.set_timeout(0, 0);
    EXPECT_EQ(read_text(4), "") << "no wait at all";
    EXPECT_TRUE(line_.is_open());
    EXPECT_EQ(peer_.connections(), 1);
    EXPECT_EQ(log_.count("[3]"), 0);
}

TEST_F(TcpTran, AClosedPeerIsSeenByTheNextReadAndTheOneAfterReconnects) {
    peer_.script().on("A1", "01");
    open_connected();
    peer_.drop();
    Stopwatch const watch;
    EXPECT_EQ(read_text(4), "gone");
    EXPECT_LT(watch.ms(), 4000);
    EXPECT_FALSE(line_.is_open());
    EXPECT_TRUE(line_.write_all(buffer_, 1));
    EXPECT_EQ(read_text(1), "01");
    EXPECT_EQ(peer_.connections(), 2);

    peer_.script().once("A1", Reply{.hex = "01 02 03 04", .hang_up = HangUp::in_reply});
    EXPECT_TRUE(line_.write_all(buffer_, 1));
    EXPECT_FALSE(line_.read_all(buffer_, 4)) << "half a reply and the end of the stream";
    EXPECT_FALSE(line_.is_open());
    EXPECT_EQ(log_.count("[3]"), 0);
}

TEST_F(TcpTran, FlushReadsAwayWhatIsPending) {
    open_connected();
    ASSERT_TRUE(peer_.send("01 02 03 04 05"));
    ASSERT_EQ(read_text(1), "01") << "it has arrived";
    Stopwatch const watch;
    line_.flush();
    EXPECT_LT(watch.ms(), 4000);
    line_.set_timeout(100, 100);
    EXPECT_EQ(read_text(1), "");
    EXPECT_TRUE(line_.is_open());
    peer_.drop();
    EXPECT_TRUE(wait_until(
        [this] {
            line_.flush();
            return !line_.is_open();
        },
        limit))
        << "a flush sees the end of the stream too";
}

TEST_F(TcpTran, ReopenKeepsAConnectionThatStandsAndOpenReplacesIt) {
    open_connected();
    EXPECT_TRUE(line_.reopen());
    EXPECT_EQ(peer_.connections(), 1);
    EXPECT_TRUE(line_.open());
    EXPECT_TRUE(wait_until([this] { return peer_.connections() == 2; }, limit));
    // One that was left because of a late answer is made anew by what comes next; one that was closed isn't.
    for (auto const& next : {std::function<void()>([&] { line_.flush(); }), {[&] { line_.set_timeout(100, 100); }}}) {
        EXPECT_TRUE(line_.abandon());
        EXPECT_FALSE(line_.is_open() || line_.abandon());
        next();
        EXPECT_TRUE(line_.is_open());
    }
    line_.close();
    line_.flush();
    EXPECT_FALSE(line_.is_open());
    EXPECT_TRUE(wait_until([this] { return !peer_.connected(); }, limit));
}
