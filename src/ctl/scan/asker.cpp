#include "ctl/scan/asker.h"

#include <algorithm>
#include <array>

#include "foundation/deadline.h"
#include "foundation/xmisc.h"

namespace scanner {

namespace {

using xCommon::Deadline;

/// No reply of these protocols is longer.
constexpr size_t longest_reply = 300;
/// Within a reply; converters hand it out in pieces.
constexpr int longest_pause_ms = 60;
/// The wish to end is looked for so often.
constexpr int look_ms = 50;
/// A line on which each request comes back: one alone may be somebody's reply.
constexpr int echoes_of_a_line = 3;
/// Between a reply and the next request, in characters: shorter pauses are no end of a frame to Modbus.
constexpr size_t silence = 4;

}  // namespace

Asker::Bytes Asker::ask(xCommon::ByteList const& request, Sound const& is_sound) {
    if (end_ == End::none && wants_end_()) {
        end_ = End::wanted;
    }
    if (end_ != End::none) {
        return {};
    }
    line_.flush();
    if (!line_.send(request)) {
        end_ = End::gone;
        return {};
    }
    Bytes reply = receive(is_sound);
    if (reply.empty()) {
        look_at_rest(request);
    }
    if (!arrived_.empty()) {
        xCommon::xMisc::delay(line_.transfer_ms(silence) + 1);
    }
    return reply;
}

/// The reply ends what has arrived; ahead of it may be what somebody else has said too late.
Asker::Bytes Asker::receive(Sound const& is_sound) {
    // As in the daemon the request's own time on the line belongs to it.
    Deadline const first(timeout_ms_);
    // However much noise there is.
    Deadline const last(timeout_ms_ + longest_pause_ms + line_.transfer_ms(longest_reply));
    Deadline next(0);
    arrived_.clear();
    std::array<unsigned char, longest_reply> piece{};
    while (end_ == End::none && !last.passed() && !(first.passed() && next.passed())) {
        int const left = std::min(std::max(first.left_ms(), next.left_ms()), last.left_ms());
        size_t const got = line_.receive(piece, std::min(left, look_ms));
        if (got == 0) {
            if (!line_.is_open()) {
                break;
            }
            end_ = wants_end_() ? End::wanted : End::none;
            continue;
        }
        arrived_.insert(arrived_.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(got));
        if (arrived_.size() > 2 * longest_reply) {
            arrived_.erase(arrived_.begin(), arrived_.end() - longest_reply);
        }
        next = Deadline(longest_pause_ms + line_.transfer_ms(silence));
        for (size_t at = 0; at < arrived_.size(); ++at) {
            if (Frame const frame = Frame(arrived_).subspan(at); is_sound(frame)) {
                return {frame.begin(), frame.end()};
            }
        }
    }
    return {};
}

void Asker::look_at_rest(xCommon::ByteList const& request) {
    bool const is_echo = arrived_.size() >= request.size() && request.compare(arrived_.data());
    echoes_in_a_row_ = is_echo ? echoes_in_a_row_ + 1 : 0;
    if (is_echo) {
        ++echoes_;
        end_ = echoes_in_a_row_ == echoes_of_a_line ? End::echo : end_;
    } else if (!arrived_.empty()) {
        first_unclear_ = unclear_++ == 0 ? arrived_ : first_unclear_;
    }
}

}  // namespace scanner
