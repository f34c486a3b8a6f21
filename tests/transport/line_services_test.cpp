// The serial line and the socket by themselves: what their transports don't show.

#include <chrono>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "ctl/line/hex.h"
#include "ctl/line/pty_line.h"
#include "ctl/line/wait_until.h"
#include "foundation/serial_line.h"
#include "foundation/wsock.h"
#include "support/free_port.h"
#include "support/process_info.h"
#include "support/tcp_peer.h"
#include "support/temp_folder.h"
#include "transport/line_nodes.h"

using std::chrono::seconds;
using xserial::xrs;
using xsock::wsock;

namespace {

constexpr auto limit = seconds(10);
std::string const name = "p";
std::string const host = "127.0.0.1";

xrs eight_n_1(std::string const& path, xserial::Timeout const& timeout = {}) {
    return {path,
            9600,
            timeout,
            xserial::bytesize_t::eight,
            xserial::parity_t::none,
            xserial::stopbits_t::one,
            xserial::flowcontrol_t::none};
}

/// Listens and takes no connection: the kernel answers for it until its short queue is full.
class DeafListener {
 public:
    DeafListener() : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<unsigned short>(port_.number()));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(fd_, reinterpret_cast<sockaddr const*>(&address), sizeof(address));
        listen(fd_, 0);
    }
    ~DeafListener() { close(fd_); }
    DeafListener(DeafListener const&) = delete;
    DeafListener& operator=(DeafListener const&) = delete;

    int port() const { return port_.number(); }

 private:
    FreePort port_;
    int fd_;
};

}  // namespace

TEST(SerialLine, SettingsOfANode) {
    // The object, and its baud rate, byte size, parity, stop bits and flow control; nothing for what can't be used.
    std::pair<char const*, char const*> const rows[] = {
        {R"({"path": "/"})", "9600 8 0 1 0"},
        {R"({"path": "/", "baudrate": 1, "parity": "none", "flowcontrol": "none"})", "1 8 0 1 0"},
        {R"({"path": "/", "bytesize": 5, "parity": "odd", "stopbits": 1.5})", "9600 5 1 3 0"},
        {R"({"path": "/", "bytesize": 6, "parity": "even", "stopbits": 2, "flowcontrol": "software"})", "9600 6 2 2 1"},
        {R"({"path": "/", "bytesize": 7, "parity": "mark", "stopbits": 1, "flowcontrol": "hardware"})", "9600 7 3 1 2"},
        {R"({"path": "/", "bytesize": 8, "parity": "space"})", "9600 8 4 1 0"},
        {R"({"path": "/", "bytesize": 4})", ""},
        {R"({"path": "/", "bytesize": 9})", ""},
        {R"({"path": "/", "stopbits": 0})", ""},
        {R"({"path": "/", "flowcontrol": 1})", ""},
    };
    for (auto const& [text, expected] : rows) {
        Json::Value node;
        node["rs"] = sample::json(text);
        xserial::xco const read(node);
        std::string const got = xCommon::xString::Format(
            "%u %d %d %d %d", read.baudrate, static_cast<int>(read.bytesize), static_cast<int>(read.parity),
            static_cast<int>(read.stopbits), static_cast<int>(read.flowcontrol));
        EXPECT_EQ(read.validate() ? got : "", expected) << text;
    }
    // Who differs in a single key needs a line of its own.
    for (char const* key : {"path", "baudrate", "bytesize", "parity", "stopbits", "flowcontrol"}) {
        Json::Value node = sample::json(R"({"rs": {}})");
        xserial::xco const usual(node);
        node["rs"][key] = 5;
        node["rs"]["path"] = std::string(key) == "path" ? "/" : "";
        EXPECT_TRUE(usual.compare(usual));
        EXPECT_FALSE(usual.compare(xserial::xco(node))) << key;
    }
}

TEST(SerialLine, OpensOnlyOnRequestAndTellsPathAndReason) {
    TempFolder const folder;
    xrs line = eight_n_1(folder.file("absent"));
    EXPECT_FALSE(line.isOpen());
    try {
        line.open();
        ADD_FAILURE() << "opened what isn't there";
    } catch (std::exception const& e) {
        EXPECT_EQ(e.what(), folder.file("absent") + " : No such file or directory");
    }
    unsigned char byte = 0;
    EXPECT_EQ(line.read(&byte, 1), 0U);
    EXPECT_EQ(line.write(&byte, 1), 0U);
    EXPECT_NO_THROW(line.flushInput());
    EXPECT_NO_THROW(line.flushOutput());
}

// A pseudo-terminal hands on at once and counts nothing as waiting.
TEST(SerialLine, AFlushTakesNothingThatWasWritten) {
    TempFolder const folder;
    PtyLine const pty(folder.file("line"));
    xrs line = eight_n_1(pty.path());
    line.open();
    constexpr int writes = 200;
    for (unsigned char number = 0; number < writes; ++number) {
        ASSERT_EQ(line.write(&number, 1), 1U);
        line.flushOutput();
    }
    int got = 0;
    unsigned char piece[writes];
    while (got < writes) {
        pollfd far{pty.master(), POLLIN, 0};
        ASSERT_EQ(poll(&far, 1, 5000), 1) << got << " of " << writes;
        got += static_cast<int>(read(pty.master(), piece, sizeof(piece)));
    }
}

TEST(SerialLine, TimeOutsGrowWithTheirMultipliers) {
    TempFolder const folder;
    PtyLine const pty(folder.file("line"));
    xserial::Timeout timeout;
    timeout.read_constant = 50;
    timeout.read_multiplier = 50;
    xrs line = eight_n_1(pty.path(), timeout);
    line.open();
    unsigned char buffer[4];
    Stopwatch const watch;
    EXPECT_EQ(line.read(buffer, 4), 0U);
    EXPECT_GE(watch.ms(), 250);
    EXPECT_EQ(line.write(std::vector<unsigned char>{1, 2, 3}), 3U);
}

TEST(Socket, AnUnconnectedOneFailsSoftly) {
    FreePort const port;
    wsock socket(name, host, port.number(), 100, 100);
    unsigned char buffer[4] = {};
    size_t const descriptors = process_info::descriptors(getpid()).size();
    for (int time = 0; time < 2; ++time) {
        EXPECT_FALSE(socket.connected);
        EXPECT_LE(socket.Recv(buffer, 4), 0);
        EXPECT_LE(socket.Send(buffer, 4), 0);
        EXPECT_FALSE(socket.RecvAll(buffer, 4));
        EXPECT_FALSE(socket.SendAll(buffer, 4));
        EXPECT_NO_THROW(socket.flush_input());
        EXPECT_NO_THROW(socket.Close());
        EXPECT_FALSE(socket.Open()) << "nobody listens";
    }
    EXPECT_EQ(process_info::descriptors(getpid()).size(), descriptors);
}

TEST(Socket, WhatIsNoAddressIsRefusedWithoutAnException) {
    TcpPeer const peer;
    EXPECT_TRUE(wsock(name, "localhost", peer.port(), 100, 100).Open());
    // A port beyond the range is not cut to another.
    for (auto const& [address, port] :
         {std::pair<std::string, int>{host, -1}, {"", 0}, {host, 0}, {host, peer.port() + 65536}}) {
        EXPECT_FALSE(wsock(name, address, port, 100, 100).Open()) << address << " " << port;
    }
}

TEST(Socket, AConnectHasTheSendTimeOutButASecondAtLeast) {
    DeafListener const listener;
    // The queue of the listener is full with one or two; who comes then gets no answer at all.
    std::vector<std::unique_ptr<wsock>> filling;
    for (int number = 0; number < 8; ++number) {
        filling.push_back(std::make_unique<wsock>(name, host, listener.port(), 100, 100));
        Stopwatch const watch;
        if (!filling.back()->Open()) {
            EXPECT_GE(watch.ms(), 1000);
            EXPECT_LT(watch.ms(), 3000);
            return;
        }
    }
    ADD_FAILURE() << "the listener never got full";
}

TEST(Socket, TimeOutsOfZeroAndLessDoNotWait) {
    TcpPeer peer;
    for (int const timeout : {0, -1, -1000}) {
        SCOPED_TRACE(timeout);
        wsock socket(name, host, peer.port(), timeout, timeout);
        ASSERT_TRUE(socket.Open());
        unsigned char buffer[4] = {1, 2, 3, 4};
        Stopwatch const watch;
        EXPECT_EQ(socket.Recv(buffer, 4), 0);
        EXPECT_FALSE(socket.RecvAll(buffer, 4));
        EXPECT_TRUE(socket.RecvAll(buffer, 0));
        EXPECT_EQ(socket.Send(buffer, 4), 4);
        EXPECT_LT(watch.ms(), 1000);
        EXPECT_TRUE(socket.connected);
    }
}

TEST(Socket, APeerThatTakesNothingCostsTheSendTimeOutOnly) {
    DeafListener const listener;
    wsock socket(name, host, listener.port(), 100, 20000);
    ASSERT_TRUE(socket.Open());
    socket.set_timeout(100, 300);
    std::vector<unsigned char> const much(64 << 20, 0x55);
    Stopwatch const watch;
    EXPECT_FALSE(socket.SendAll(much.data(), static_cast<int>(much.size())));
    EXPECT_GE(watch.ms(), 300);
    EXPECT_LT(watch.ms(), 5000);
    EXPECT_FALSE(socket.connected) << "the peer would take the next frame for the rest of this one";
}

TEST(Socket, PiecesAreGatheredWithinOneTimeOut) {
    TcpPeer peer;
    unsigned char buffer[8] = {0x01};
    // Each piece alone comes in time; all of them together don't.
    peer.script().on("01", Reply{.hex = "0A 0B 0C 0D 0E 0F 10 11", .fragment = 1, .gap_ms = 150});
    wsock socket(name, host, peer.port(), 400, 400);
    ASSERT_TRUE(socket.Open());
    ASSERT_TRUE(socket.SendAll(buffer, 1));
    Stopwatch const watch;
    EXPECT_FALSE(socket.RecvAll(buffer, 8));
    EXPECT_LT(watch.ms(), 900);
    EXPECT_TRUE(socket.connected);
}

TEST(Socket, AResetIsNoException) {
    auto listener = std::make_unique<DeafListener>();
    wsock left(name, host, listener->port(), 3000, 3000);
    ASSERT_TRUE(left.Open());
    listener.reset();
    EXPECT_EQ(left.Recv(nullptr, 4), -1);
    EXPECT_FALSE(left.connected);

    TcpPeer peer;
    wsock socket(name, host, peer.port(), 3000, 3000);
    ASSERT_TRUE(socket.Open());
    ASSERT_TRUE(wait_until([&peer] { return peer.connected(); }, limit));
    peer.stop_listening();
    unsigned char buffer[4] = {};
    // The first goes into the void, the answer to it is a reset.
    EXPECT_NO_THROW(wait_until([&] { return socket.Send(buffer, 4) < 0 || !socket.connected; }, limit));
    EXPECT_FALSE(socket.connected);
    EXPECT_LE(socket.Recv(buffer, 4), 0);
    EXPECT_FALSE(socket.Open());
}
