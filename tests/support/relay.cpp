#include "support/relay.h"

#include <array>
#include <stdexcept>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int new_socket() {
    return socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

}  // namespace

Relay::Relay(int target) : target_(target), listener_(new_socket()) {
    int const yes = 1;
    setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    setsockopt(listener_, SOL_SOCKET, SO_REUSEPORT, &yes, sizeof(yes));
    sockaddr_in const address = loopback(port());
    if (bind(listener_, reinterpret_cast<sockaddr const*>(&address), sizeof(address)) != 0 ||
        listen(listener_, SOMAXCONN) != 0) {
        throw std::runtime_error("the relay can't listen");
    }
    thread_ = std::jthread([this] { serve(); });
}

Relay::~Relay() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    for (Connection& connection : connections_) {
        shutdown(connection.near, SHUT_RDWR);
        shutdown(connection.far, SHUT_RDWR);
        connection.forth.join();
        connection.back.join();
        close(connection.near);
        close(connection.far);
    }
    close(listener_);
}

void Relay::let_go() {
    is_holding_ = false;
    std::lock_guard const lock(mutex_);
    for (int const far : held_) {
        shutdown(far, SHUT_RDWR);
    }
    held_.clear();
}

void Relay::serve() {
    for (int near = accept(listener_, nullptr, nullptr); near >= 0; near = accept(listener_, nullptr, nullptr)) {
        int const far = new_socket();
        sockaddr_in const address = loopback(target_);
        // Where nobody is there the near end sees its connection close.
        if (connect(far, reinterpret_cast<sockaddr const*>(&address), sizeof(address)) != 0) {
            shutdown(near, SHUT_RDWR);
        }
        Connection& connection = connections_.emplace_back(near, far);
        connection.forth = std::jthread([this, near, far] { forward(near, far, true); });
        connection.back = std::jthread([this, near, far] { forward(far, near, false); });
    }
}

void Relay::forward(int from, int to, bool from_near) {
    std::array<char, 4096> buffer{};
    for (ssize_t got = read(from, buffer.data(), buffer.size()); got > 0;
         got = read(from, buffer.data(), buffer.size())) {
        if (send(to, buffer.data(), static_cast<size_t>(got), MSG_NOSIGNAL) != got) {
            break;
        }
    }
    std::lock_guard const lock(mutex_);
    if (from_near && is_holding_) {
        held_.push_back(to);
    } else {
        shutdown(to, SHUT_RDWR);
    }
}
