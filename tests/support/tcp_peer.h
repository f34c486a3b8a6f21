#pragma once

#include <atomic>
#include <mutex>
#include <thread>

#include "support/free_port.h"
#include "support/responder.h"

/// A scripted device behind a TCP port of the loopback address. It serves one connection at a time, the next one when
/// that has ended. What it is asked to hang up is closed; it goes on listening.
class TcpPeer {
 public:
    /// Listens from the start. Raises std::system_error.
    TcpPeer();
    ~TcpPeer() { stop_listening(); }
    TcpPeer(TcpPeer const&) = delete;
    TcpPeer& operator=(TcpPeer const&) = delete;

    int port() const { return port_.number(); }
    PeerScript& script() { return responder_.script; }
    PeerLog log() { return PeerLog(responder_); }

    /// On the same port again. Does nothing while it listens.
    void listen();
    /// Closes the connection too: who tries to connect is refused.
    void stop_listening();
    /// Closes the connection and listens on.
    void drop();
    /// Bytes that nobody asked for, hexadecimal; false without a connection.
    bool send(std::string const& frame);

    /// Connections taken since the start.
    int connections() const { return connections_; }
    bool connected() const;

 private:
    void work(std::stop_token const& stop);

    FreePort port_;
    Responder responder_;
    mutable std::mutex mutex_;
    int listener_ = -1;
    int connection_ = -1;
    std::atomic<int> connections_ = 0;
    std::jthread thread_;
};
