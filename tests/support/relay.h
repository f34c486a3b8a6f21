#pragma once

#include <atomic>
#include <list>
#include <mutex>
#include <thread>

#include "support/free_port.h"

/// Passes TCP connections on to a port of this machine. While it holds, the far end isn't told that the near one has
/// gone, as when a gateway loses its power.
class Relay {
 public:
    explicit Relay(int target);
    ~Relay();
    Relay(Relay const&) = delete;
    Relay& operator=(Relay const&) = delete;

    int port() const { return port_.number(); }
    void hold() { is_holding_ = true; }
    /// Now the far end is told.
    void let_go();

 private:
    struct Connection {
        int near;
        int far;
        std::jthread forth;
        std::jthread back;
    };
    void serve();
    void forward(int from, int to, bool from_near);

    FreePort port_;
    int target_;
    int listener_;
    std::atomic<bool> is_holding_ = false;
    std::mutex mutex_;
    std::list<Connection> connections_;
    std::list<int> held_;
    std::jthread thread_;
};
