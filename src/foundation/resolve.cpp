#include "foundation/resolve.h"

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include <netdb.h>

namespace xsock {

namespace {

/// Shared by the asker and the thread; whoever is last frees it.
struct Question {
    std::mutex mutex;
    std::condition_variable answered;
    bool done = false;
    std::vector<PeerAddress> addresses;
};

/// False when the resolver has no answer.
bool ask(std::string const& host, int port, int flags, std::vector<PeerAddress>& addresses) {
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV | flags;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
        return false;
    }
    std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> const list(found, &freeaddrinfo);
    for (addrinfo const* entry = found; entry != nullptr; entry = entry->ai_next) {
        PeerAddress address;
        std::memcpy(&address.storage, entry->ai_addr, entry->ai_addrlen);
        address.length = entry->ai_addrlen;
        addresses.push_back(address);
    }
    return true;
}

}  // namespace

std::vector<PeerAddress> resolve(std::string const& host, int port, int wait_ms) {
    std::vector<PeerAddress> addresses;
    if (port < 1 || port > 65535 || ask(host, port, AI_NUMERICHOST, addresses)) {
        return addresses;
    }
    auto const question = std::make_shared<Question>();
    std::thread([question, host, port] {
        std::vector<PeerAddress> found;
        ask(host, port, 0, found);
        std::lock_guard const lock(question->mutex);
        question->addresses = std::move(found);
        question->done = true;
        question->answered.notify_all();
    }).detach();
    std::unique_lock lock(question->mutex);
    question->answered.wait_for(lock, std::chrono::milliseconds(wait_ms), [&question] { return question->done; });
    return question->done ? question->addresses : addresses;
}

}  // namespace xsock
