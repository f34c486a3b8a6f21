#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <span>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "ctl/line/peer_script.h"
#include "ctl/line/pty_line.h"

/// A request as a peer received it.
struct PeerRequest {
    std::string hex;
    LineSettings line;  ///< how the serial line was set then; nothing on TCP
};

/// What the peers have in common: a thread of its own that reads requests from a descriptor, and does with each what
/// the script says. A request ends where it is one of the script's, and otherwise with a pause.
class Responder {
 public:
    PeerScript& script() { return script_; }
    Responder const& log() const { return *this; }
    std::vector<PeerRequest> requests() const;
    /// The requests alone, as hexadecimal text.
    std::vector<std::string> frames() const;
    int count(std::string const& frame) const;
    /// Waits until the request has come `number` times.
    bool wait_for(std::string const& frame, std::chrono::milliseconds limit, int number = 1) const;

 protected:
    enum class End { closed, hang_up, stopped };

    Responder() = default;
    ~Responder() = default;
    /// Ends the thread; who derives does so first of all.
    void stop();
    /// Serves the descriptor until the other side closes it, the script wants to hang up, or a stop is requested.
    End serve(int fd, std::stop_token const& stop, std::function<LineSettings()> const& line_settings = {});

    std::jthread thread_;

 private:
    End reply_to(int fd, std::span<unsigned char const> request, LineSettings const& line, std::stop_token const& stop);

    mutable std::mutex mutex_;
    std::vector<PeerRequest> requests_;
    PeerScript script_;
};

/// Writes all bytes to a descriptor; false when it takes no more.
bool write_bytes(int fd, std::span<unsigned char const> data);
