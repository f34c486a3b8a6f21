#include "ctl/line/peer_script.h"

#include <algorithm>
#include <utility>

PeerScript& PeerScript::add(Kind kind, std::string const& request, Reply reply) {
    Row row{frame_text::pattern(request), kind == Kind::once, {std::move(reply)}};
    auto const is_same = [&row](Row const& other) { return !other.is_once && other.request == row.request; };
    std::lock_guard const lock(mutex_);
    if (kind == Kind::always) {
        std::erase_if(rows_, is_same);
    }
    auto const same = std::find_if(rows_.begin(), rows_.end(), is_same);
    if (kind == Kind::turn && same != rows_.end()) {
        same->replies.push_back(std::move(row.replies.front()));
    } else {
        rows_.push_back(std::move(row));
    }
    return *this;
}

PeerScript& PeerScript::otherwise(Answerer answerer) {
    std::lock_guard const lock(mutex_);
    otherwise_ = std::move(answerer);
    return *this;
}

PeerScript& PeerScript::otherwise(Reply const& reply) {
    return otherwise([reply](std::span<unsigned char const>) { return reply; });
}

Reply PeerScript::answer(std::span<unsigned char const> request) {
    auto const fits = [request](Row const& row) { return frame_text::equals(row.request, request); };
    Answerer answerer;
    {
        std::lock_guard const lock(mutex_);
        auto row = std::find_if(rows_.begin(), rows_.end(),
                                [&fits](Row const& other) { return other.is_once && fits(other); });
        if (row == rows_.end()) {
            row = std::find_if(rows_.begin(), rows_.end(), fits);
        }
        if (row != rows_.end()) {
            long long const number = row->served++;
            Reply const reply = row->replies[static_cast<size_t>(number) % row->replies.size()];
            if (row->is_once) {
                rows_.erase(row);
            }
            return written_out(reply, request, number);
        }
        answerer = otherwise_;
    }
    return answerer ? written_out(answerer(request), request, 0) : Reply{};
}

Reply PeerScript::written_out(Reply reply, std::span<unsigned char const> request, long long number) const {
    hex::Bytes bytes = frame_text::reply(reply.hex, request, number);
    if (reply.cut >= 0) {
        bytes.resize(std::min(bytes.size(), static_cast<size_t>(reply.cut)));
    }
    if (reply.hang_up == HangUp::in_reply) {
        bytes.resize(bytes.size() / 2);
    }
    // In one go with the frame: what comes a little later would be a fault of its own.
    reply.hex = std::exchange(reply.garbage, "") + hex::text(bytes);
    if (hurries_) {
        reply.delay_ms = 0;
        reply.gap_ms = 0;
    }
    return reply;
}

bool PeerScript::knows(std::span<unsigned char const> request) const {
    std::lock_guard const lock(mutex_);
    return std::any_of(rows_.begin(), rows_.end(),
                       [request](Row const& row) { return frame_text::equals(row.request, request); });
}

bool PeerScript::may_grow(std::span<unsigned char const> request) const {
    std::lock_guard const lock(mutex_);
    return std::any_of(rows_.begin(), rows_.end(), [request](Row const& row) {
        return row.request.size() > request.size() && frame_text::begins(row.request, request);
    });
}
