#pragma once

#include <atomic>
#include <mutex>
#include <optional>

#include "ctl/line/listener.h"
#include "ctl/line/responder.h"

/// A scripted device behind a TCP port of the loopback address. It serves one connection at a time, the next one when
/// that has ended. What it is asked to hang up is closed; it goes on listening.
class TcpFarEnd : public Responder {
 public:
    /// Listens from the start; 0: on a free port. Raises std::system_error.
    explicit TcpFarEnd(int port);
    ~TcpFarEnd() { stop_listening(); }
    TcpFarEnd(TcpFarEnd const&) = delete;
    TcpFarEnd& operator=(TcpFarEnd const&) = delete;

    int port() const { return port_; }

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

    int port_;
    mutable std::mutex mutex_;
    std::optional<Listener> listener_;
    int connection_ = -1;
    std::atomic<int> connections_ = 0;
};
