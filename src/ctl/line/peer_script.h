#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "ctl/line/frame_text.h"

/// Where in a reply the peer hangs up.
enum class HangUp { never, before_reply, in_reply, after_reply };

/// What a peer does with one request. Frames are written as frame_text says.
struct Reply {
    std::string hex = {};      ///< empty: silence
    int cut = -1;              ///< only so many bytes of it; below 0: all
    int delay_ms = 0;          ///< before the first byte goes out
    std::string garbage = {};  ///< goes out with the reply, ahead of it
    int fragment = 0;          ///< bytes in a piece; 0: all at once
    int gap_ms = 20;           ///< between two pieces
    HangUp hang_up = HangUp::never;
    unsigned int baudrate = 0;  ///< the line has to be set to it, or there is no reply; 0: to any
};

/// Requests and their replies. Safe to change while a peer works by it.
class PeerScript {
 public:
    /// For answers that depend on the request, or on what came before.
    using Answerer = std::function<Reply(std::span<unsigned char const> request)>;

    enum class Kind {
        always,  ///< whenever the request comes; replaces earlier rows for the same request
        once,    ///< given once, ahead of the other kinds; several follow in their order
        turn,    ///< rows for the same request take turns
    };
    PeerScript& add(Kind kind, std::string const& request, Reply reply);
    PeerScript& on(std::string const& request, Reply const& reply) { return add(Kind::always, request, reply); }
    PeerScript& on(std::string const& request, std::string const& reply) { return on(request, Reply{.hex = reply}); }
    PeerScript& once(std::string const& request, Reply const& reply) { return add(Kind::once, request, reply); }
    PeerScript& once(std::string const& request, std::string const& reply) {
        return once(request, Reply{.hex = reply});
    }
    /// For all other requests; without it the peer is silent.
    PeerScript& otherwise(Answerer answerer);
    PeerScript& otherwise(Reply const& reply);

    /// Nothing is waited for from now on: neither delays nor gaps.
    void hurry() { hurries_ = true; }

    /// The answer to a request: its text is what goes out, garbage included, in plain hexadecimal digits. Takes it out
    /// if it was one of once().
    Reply answer(std::span<unsigned char const> request);
    /// A row has exactly this request.
    bool knows(std::span<unsigned char const> request) const;
    /// A row has a longer request that begins so: there may be more to come.
    bool may_grow(std::span<unsigned char const> request) const;

 private:
    struct Row {
        frame_text::Pattern request;
        bool is_once;
        std::vector<Reply> replies;  ///< that take turns
        long long served = 0;
    };

    Reply written_out(Reply reply, std::span<unsigned char const> request, long long number) const;

    mutable std::mutex mutex_;
    std::vector<Row> rows_;
    Answerer otherwise_;
    std::atomic<bool> hurries_ = false;
};
