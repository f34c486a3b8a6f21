#include "foundation/resolve.h"

#include <chrono>
#include <cstring>
#include <exception>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include <netdb.h>

#include "foundation/xlog.h"
#include "foundation/xmisc.h"
#include "foundation/xsignal.h"

namespace xsock {

namespace {

using Addresses = std::vector<PeerAddress>;

/// The questions that are under way. While the name servers are away the system's resolver takes longer than any asker
/// waits: whoever asks for the same name meanwhile joins in, or each attempt would leave a thread more.
class Questions {
 public:
    static Questions& all() {
        static auto* const questions = new Questions;  // never destroyed: its threads may outlive main
        return *questions;
    }
    /// Raises std::system_error when no thread can be made.
    std::shared_future<Addresses> put(std::string const& host, int port) {
        std::lock_guard const lock(mutex_);
        auto const known = open_.find({host, port});
        if (known != open_.end()) {
            return known->second;
        }
        std::promise<Addresses> question;
        std::shared_future<Addresses> answer = question.get_future().share();
        open_.emplace(std::pair(host, port), answer);
        try {
            std::thread(&Questions::find, this, host, port, std::move(question)).detach();
        } catch (...) {
            open_.erase({host, port});
            throw;
        }
        return answer;
    }

 private:
    void find(std::string const& host, int port, std::promise<Addresses> question);

    std::mutex mutex_;
    std::map<std::pair<std::string, int>, std::shared_future<Addresses>> open_;
};

/// False when the resolver has no answer.
bool ask(std::string const& host, int port, int flags, Addresses& addresses) {
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

void Questions::find(std::string const& host, int port, std::promise<Addresses> question) {
    xCommon::name_thread("dns", host);
    xCommon::FaultStack const fault_stack;
    Addresses found;
    try {
        ask(host, port, 0, found);
    } catch (std::exception const& e) {
        xCommon::global_logf(xCommon::lmtError, "поиск адреса %s : %s.", host, e.what());
        found.clear();
    }
    {
        std::lock_guard const lock(mutex_);
        open_.erase({host, port});
    }
    question.set_value(std::move(found));
}

}  // namespace

std::vector<PeerAddress> resolve(std::string const& host, int port, int wait_ms) {
    Addresses addresses;
    if (port < 1 || port > 65535 || ask(host, port, AI_NUMERICHOST, addresses)) {
        return addresses;
    }
    try {
        std::shared_future<Addresses> const answer = Questions::all().put(host, port);
        if (answer.wait_for(std::chrono::milliseconds(wait_ms)) == std::future_status::ready) {
            addresses = answer.get();
        }
    } catch (std::exception const& e) {
        xCommon::global_logf(xCommon::lmtError, "поиск адреса %s : %s.", host, e.what());
    }
    return addresses;
}

}  // namespace xsock
