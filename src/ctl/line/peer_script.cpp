#include "ctl/line/peer_script.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>

PeerScript::PeerScript(std::string_view rows) {
    std::istringstream lines{std::string(rows)};
    for (std::string line; std::getline(lines, line);) {
        size_t const start = line.find_first_not_of(" \t");
        if (start == std::string::npos || line[start] == '#') {
            continue;
        }
        size_t const arrow = line.find("->");
        if (arrow == std::string::npos) {
            throw std::invalid_argument("a row without -> : " + line);
        }
        on(line.substr(0, arrow), line.substr(arrow + 2));
    }
}

PeerScript& PeerScript::on(std::string const& request, Reply reply) {
    Row row{frame_text::pattern(request), {std::move(reply)}};
    std::lock_guard const lock(mutex_);
    std::erase_if(rows_, [&row](Row const& other) { return other.request == row.request; });
    rows_.push_back(std::move(row));
    return *this;
}

PeerScript& PeerScript::turn(std::string const& request, Reply reply) {
    frame_text::Pattern const wanted = frame_text::pattern(request);
    std::lock_guard const lock(mutex_);
    for (Row& row : rows_) {
        if (row.request == wanted) {
            row.replies.push_back(std::move(reply));
            return *this;
        }
    }
    rows_.push_back({wanted, {std::move(reply)}});
    return *this;
}

PeerScript& PeerScript::once(std::string const& request, Reply reply) {
    Row row{frame_text::pattern(request), {std::move(reply)}};
    std::lock_guard const lock(mutex_);
    once_.push_back(std::move(row));
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
        auto const first = std::find_if(once_.begin(), once_.end(), fits);
        if (first != once_.end()) {
            Reply reply = std::move(first->replies.front());
            once_.erase(first);
            return written_out(std::move(reply), request, 0);
        }
        auto const row = std::find_if(rows_.begin(), rows_.end(), fits);
        if (row != rows_.end()) {
            long long const number = row->served++;
            return written_out(row->replies[static_cast<size_t>(number) % row->replies.size()], request, number);
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
    reply.hex = hex::text(bytes);
    if (hurries_) {
        reply.delay_ms = 0;
        reply.gap_ms = 0;
    }
    return reply;
}

bool PeerScript::knows(std::span<unsigned char const> request) const {
    return any_row([request](Row const& row) { return frame_text::equals(row.request, request); });
}

bool PeerScript::may_grow(std::span<unsigned char const> request) const {
    return any_row([request](Row const& row) {
        return row.request.size() > request.size() && frame_text::begins(row.request, request);
    });
}

template <typename Test>
bool PeerScript::any_row(Test test) const {
    std::lock_guard const lock(mutex_);
    return std::any_of(rows_.begin(), rows_.end(), test) || std::any_of(once_.begin(), once_.end(), test);
}
