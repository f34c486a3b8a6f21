#include "ctl/line/tcp_far_end.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int look_ms = 10;

}  // namespace

TcpFarEnd::TcpFarEnd(int port) : port_(port) {
    listen();
}

void TcpFarEnd::listen() {
    if (!listener_) {
        listener_.emplace(port_);
        port_ = listener_->port();
        thread_ = std::jthread([this](std::stop_token const& stop) { work(stop); });
    }
}

void TcpFarEnd::stop_listening() {
    stop();
    listener_.reset();
}

void TcpFarEnd::work(std::stop_token const& stop) {
    while (!stop.stop_requested()) {
        pollfd entry{listener_->descriptor(), POLLIN, 0};
        if (poll(&entry, 1, look_ms) <= 0) {
            continue;
        }
        int const fd = listener_->accept();
        if (fd < 0) {
            continue;
        }
        {
            std::lock_guard const lock(mutex_);
            connection_ = fd;
        }
        ++connections_;
        serve(fd, stop);
        std::lock_guard const lock(mutex_);
        connection_ = -1;
        close(fd);
    }
}

void TcpFarEnd::drop() {
    // The thread sees the end of the stream and closes; the other side sees it at once.
    std::lock_guard const lock(mutex_);
    if (connection_ >= 0) {
        shutdown(connection_, SHUT_RDWR);
    }
}

bool TcpFarEnd::send(std::string const& frame) {
    hex::Bytes const bytes = hex::bytes(frame);
    std::lock_guard const lock(mutex_);
    return connection_ >= 0 &&
           ::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

bool TcpFarEnd::connected() const {
    std::lock_guard const lock(mutex_);
    return connection_ >= 0;
}
