#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include "ctl/line/hex.h"
#include "ctl/line/peer_script.h"
#include "ctl/line/pty_line.h"

/// A request as a peer received it.
struct PeerRequest {
    std::string hex;
    std::chrono::steady_clock::time_point at;
    LineSettings line;  ///< how the serial line was set then; nothing on TCP
};

/// The answering half of the peers: reads requests from a descriptor and does with each what the script says. A request
/// ends where it is one of the script's, and otherwise with a pause.
class Responder {
 public:
    enum class End { closed, hang_up, stopped };

    /// Serves the descriptor until the other side closes it, the script wants to hang up, or a stop is requested.
    End serve(int fd, std::stop_token const& stop, std::function<LineSettings()> const& line_settings = {});

    std::vector<PeerRequest> requests() const;
    void clear();

    PeerScript script;

 private:
    End reply_to(int fd, std::span<unsigned char const> request, std::stop_token const& stop);

    mutable std::mutex mutex_;
    std::vector<PeerRequest> requests_;
};

/// Writes all bytes to a descriptor; false when it takes no more.
bool write_bytes(int fd, std::span<unsigned char const> data);

/// What the tests ask of a peer, the same on every kind of line.
class PeerLog {
 public:
    using Limit = std::chrono::milliseconds;

    explicit PeerLog(Responder& responder) : responder_(responder) {}

    std::vector<PeerRequest> requests() const { return responder_.requests(); }
    /// The requests alone, as hexadecimal text.
    std::vector<std::string> frames() const;
    int count(std::string const& frame) const;
    /// Waits until the request has come `number` times.
    bool wait_for(std::string const& frame, Limit limit, int number = 1) const;
    void clear() { responder_.clear(); }

 private:
    Responder& responder_;
};
