#include "ctl/line/responder.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <unistd.h>

#include "ctl/line/wait_until.h"

namespace {

/// How soon a stop is noticed.
constexpr int look_ms = 10;
/// A pause in a request that no row knows ends it.
constexpr auto request_end = std::chrono::milliseconds(25);

/// False when a stop was requested meanwhile.
bool pause(int pause_ms, std::stop_token const& stop) {
    return !wait_until([&stop] { return stop.stop_requested(); }, std::chrono::milliseconds(pause_ms));
}

bool write_pieces(int fd, std::span<unsigned char const> data, Reply const& reply, std::stop_token const& stop) {
    size_t const piece = reply.fragment > 0 ? static_cast<size_t>(reply.fragment) : data.size();
    for (size_t at = 0; at < data.size(); at += piece) {
        if (at > 0 && !pause(reply.gap_ms, stop)) {
            return true;
        }
        if (!write_bytes(fd, data.subspan(at, std::min(piece, data.size() - at)))) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool write_bytes(int fd, std::span<unsigned char const> data) {
    while (!data.empty()) {
        ssize_t const sent = write(fd, data.data(), data.size());
        if (sent <= 0 && errno != EINTR) {
            return false;
        }
        data = data.subspan(static_cast<size_t>(std::max<ssize_t>(sent, 0)));
    }
    return true;
}

void Responder::stop() {
    if (thread_.joinable()) {
        thread_.request_stop();
        thread_.join();
    }
}

Responder::End Responder::serve(int fd, std::stop_token const& stop,
                                std::function<LineSettings()> const& line_settings) {
    hex::Bytes request;
    auto last_byte = std::chrono::steady_clock::now();
    while (!stop.stop_requested()) {
        pollfd entry{fd, POLLIN, 0};
        if (poll(&entry, 1, look_ms) > 0) {
            unsigned char piece[512];
            ssize_t const got = read(fd, piece, sizeof(piece));
            if (got <= 0) {
                return End::closed;
            }
            request.insert(request.end(), piece, piece + got);
            last_byte = std::chrono::steady_clock::now();
        }
        bool const quiet = std::chrono::steady_clock::now() - last_byte >= request_end;
        if (request.empty() || !(quiet || (script_.knows(request) && !script_.may_grow(request)))) {
            continue;
        }
        LineSettings const line = line_settings ? line_settings() : LineSettings();
        {
            std::lock_guard const lock(mutex_);
            requests_.push_back({hex::text(request), line});
        }
        End const end = reply_to(fd, request, line, stop);
        if (end != End::stopped) {
            return end;
        }
        request.clear();
    }
    return End::stopped;
}

/// End::stopped means that the exchange is over and nothing else.
Responder::End Responder::reply_to(int fd, std::span<unsigned char const> request, LineSettings const& line,
                                   std::stop_token const& stop) {
    Reply const reply = script_.answer(request);
    if (reply.baudrate != 0 && reply.baudrate != line.baudrate) {
        return End::stopped;
    }
    if (!pause(reply.delay_ms, stop)) {
        return End::stopped;
    }
    if (reply.hang_up == HangUp::before_reply) {
        return End::hang_up;
    }
    if (!write_pieces(fd, hex::bytes(reply.hex), reply, stop)) {
        return End::closed;
    }
    return reply.hang_up == HangUp::never ? End::stopped : End::hang_up;
}

std::vector<PeerRequest> Responder::requests() const {
    std::lock_guard const lock(mutex_);
    return requests_;
}

std::vector<std::string> Responder::frames() const {
    std::vector<std::string> result;
    for (PeerRequest const& request : requests()) {
        result.push_back(request.hex);
    }
    return result;
}

int Responder::count(std::string const& frame) const {
    std::vector<std::string> const all = frames();
    return static_cast<int>(std::count(all.begin(), all.end(), hex::text(hex::bytes(frame))));
}

bool Responder::wait_for(std::string const& frame, std::chrono::milliseconds limit, int number) const {
    return wait_until([&] { return count(frame) >= number; }, limit);
}
