#include "foundation/resolve.h"

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <exception>
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

/// Shared by the askers and the thread; whoever is last frees it.
struct Question {
    std::mutex mutex;
    std::condition_variable answered;
    bool done = false;
    std::vector<PeerAddress> addresses;
};

/// The questions that are under way. While the name servers are away the system's resolver takes longer than any asker
/// waits: whoever asks for the same name meanwhile joins in, or each attempt would leave a thread more.
class Questions {
 public:
    static Questions& all() {
        static auto* const questions = new Questions;  // never destroyed: its threads may outlive main
        return *questions;
    }
    /// Raises std::system_error when no thread can be made.
    std::shared_ptr<Question> put(std::string const& host, int port) {
        std::lock_guard const lock(mutex_);
        auto& question = open_[{host, port}];
        if (!question) {
            question = std::make_shared<Question>();
            try {
                std::thread(&Questions::answer, this, host, port, question).detach();
            } catch (...) {
                open_.erase({host, port});
                throw;
            }
        }
        return question;
    }

 private:
    void answer(std::string const& host, int port, std::shared_ptr<Question> const& question);

    std::mutex mutex_;
    std::map<std::pair<std::string, int>, std::shared_ptr<Question>> open_;
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

void Questions::answer(std::string const& host, int port, std::shared_ptr<Question> const& question) {
    xCommon::name_thread("dns", host);
    xCommon::FaultStack const fault_stack;
    std::vector<PeerAddress> found;
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
    std::lock_guard const lock(question->mutex);
    question->addresses = std::move(found);
    question->done = true;
    question->answered.notify_all();
}

}  // namespace

std::vector<PeerAddress> resolve(std::string const& host, int port, int wait_ms) {
    std::vector<PeerAddress> addresses;
    if (port < 1 || port > 65535 || ask(host, port, AI_NUMERICHOST, addresses)) {
        return addresses;
    }
    std::shared_ptr<Question> question;
    try {
        question = Questions::all().put(host, port);
    } catch (std::exception const& e) {
        xCommon::global_logf(xCommon::lmtError, "поиск адреса %s : %s.", host, e.what());
        return addresses;
    }
    std::unique_lock lock(question->mutex);
    question->answered.wait_for(lock, std::chrono::milliseconds(wait_ms), [&question] { return question->done; });
    return question->done ? question->addresses : addresses;
}

}  // namespace xsock
