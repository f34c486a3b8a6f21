#include "support/tcp_peer.h"

#include <cerrno>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int look_ms = 10;

int listening_socket(int port) {
    int const fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int const on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<unsigned short>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(fd, reinterpret_cast<sockaddr const*>(&address), sizeof(address)) != 0 || ::listen(fd, 8) != 0) {
        int const error = errno;
        close(fd);
        throw std::system_error(error, std::generic_category(), "listen");
    }
    return fd;
}

}  // namespace

TcpPeer::TcpPeer() {
    listen();
}

void TcpPeer::listen() {
    if (listener_ < 0) {
        listener_ = listening_socket(port());
        thread_ = std::jthread([this](std::stop_token const& stop) { work(stop); });
    }
}

void TcpPeer::stop_listening() {
    if (thread_.joinable()) {
        thread_.request_stop();
        thread_.join();
    }
    if (listener_ >= 0) {
        close(listener_);
        listener_ = -1;
    }
}

void TcpPeer::work(std::stop_token const& stop) {
    while (!stop.stop_requested()) {
        pollfd entry{listener_, POLLIN, 0};
        if (poll(&entry, 1, look_ms) <= 0) {
            continue;
        }
        int const fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            continue;
        }
        int const on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        {
            std::lock_guard const lock(mutex_);
            connection_ = fd;
        }
        ++connections_;
        responder_.serve(fd, stop);
        std::lock_guard const lock(mutex_);
        connection_ = -1;
        close(fd);
    }
}

void TcpPeer::drop() {
    // The thread sees the end of the stream and closes; the other side sees it at once.
    std::lock_guard const lock(mutex_);
    if (connection_ >= 0) {
        shutdown(connection_, SHUT_RDWR);
    }
}

bool TcpPeer::send(std::string const& frame) {
    hex::Bytes const bytes = hex::bytes(frame);
    std::lock_guard const lock(mutex_);
    return connection_ >= 0 &&
           ::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

bool TcpPeer::connected() const {
    std::lock_guard const lock(mutex_);
    return connection_ >= 0;
}
