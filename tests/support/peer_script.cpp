#include "support/peer_script.h"

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
    Pattern wanted = pattern(request);
    std::lock_guard const lock(mutex_);
    std::erase_if(rows_, [&wanted](Row const& row) { return row.request == wanted; });
    rows_.push_back({std::move(wanted), std::move(reply)});
    return *this;
}

PeerScript& PeerScript::once(std::string const& request, Reply reply) {
    std::lock_guard const lock(mutex_);
    once_.push_back({pattern(request), std::move(reply)});
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
    auto const fits = [request](Row const& row) { return equals(row.request, request); };
    Answerer answerer;
    {
        std::lock_guard const lock(mutex_);
        auto const first = std::find_if(once_.begin(), once_.end(), fits);
        if (first != once_.end()) {
            Reply reply = std::move(first->reply);
            once_.erase(first);
            return reply;
        }
        auto const row = std::find_if(rows_.begin(), rows_.end(), fits);
        if (row != rows_.end()) {
            return row->reply;
        }
        answerer = otherwise_;
    }
    return answerer ? answerer(request) : Reply{};
}

bool PeerScript::knows(std::span<unsigned char const> request) const {
    return any_row([request](Row const& row) { return equals(row.request, request); });
}

bool PeerScript::may_grow(std::span<unsigned char const> request) const {
    return any_row(
        [request](Row const& row) { return row.request.size() > request.size() && begins(row.request, request); });
}

PeerScript::Pattern PeerScript::pattern(std::string_view text) {
    Pattern result;
    std::string plain;
    auto const take_plain = [&] {
        hex::Bytes const bytes = hex::bytes(plain);
        result.insert(result.end(), bytes.begin(), bytes.end());
        plain.clear();
    };
    for (size_t at = 0; at < text.size(); ++at) {
        if (text.substr(at, 2) == "??") {
            take_plain();
            result.push_back(-1);
            ++at;
        } else {
            plain.push_back(text[at]);
        }
    }
    take_plain();
    return result;
}

bool PeerScript::begins(Pattern const& pattern, std::span<unsigned char const> request) {
    return request.size() <= pattern.size() &&
           std::equal(request.begin(), request.end(), pattern.begin(),
                      [](unsigned char byte, int wanted) { return wanted < 0 || byte == wanted; });
}

bool PeerScript::equals(Pattern const& pattern, std::span<unsigned char const> request) {
    return pattern.size() == request.size() && begins(pattern, request);
}

template <typename Test>
bool PeerScript::any_row(Test test) const {
    std::lock_guard const lock(mutex_);
    return std::any_of(rows_.begin(), rows_.end(), test) || std::any_of(once_.begin(), once_.end(), test);
}
