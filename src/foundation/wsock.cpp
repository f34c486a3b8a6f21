#include "foundation/wsock.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "foundation/deadline.h"
#include "foundation/resolve.h"

namespace xsock {

using xCommon::Deadline;

namespace {

constexpr int least_connect_ms = 1000;
/// What was sent and isn't acknowledged for so long ends the connection: a peer that lost its power without a word
/// would otherwise keep it for a quarter of an hour.
constexpr unsigned int unacknowledged_ms = 30000;

/// Waits for `events`; false at the deadline or on a failure of poll.
bool wait_for(int fd, short events, int wait_ms) {
    Deadline const deadline(wait_ms);
    for (;;) {
        pollfd entry{fd, events, 0};
        int const ready = poll(&entry, 1, deadline.left_ms());
        if (ready > 0) {
            return true;
        }
        if (ready == 0 || errno != EINTR) {
            return false;
        }
    }
}

int connected_socket(PeerAddress const& address, int wait_ms) {
    int const fd = socket(address.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return -1;
    }
    int error = connect(fd, reinterpret_cast<sockaddr const*>(&address.storage), address.length) == 0 ? 0 : errno;
    if (error == EINPROGRESS) {
        socklen_t length = sizeof(error);
        if (!wait_for(fd, POLLOUT, wait_ms)) {
            error = ETIMEDOUT;
        } else if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
            error = errno;
        }
    }
    if (error != 0) {
        close(fd);
        return -1;
    }
    int const on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof(on));
    setsockopt(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, &unacknowledged_ms, sizeof(unacknowledged_ms));
    return fd;
}

}  // namespace

wsock::wsock(std::string const& name, std::string const& host, int port, int read_timeout_ms, int send_timeout_ms)
    : name_(name), host_(host), port_(port), read_timeout_ms_(read_timeout_ms), send_timeout_ms_(send_timeout_ms) {}

wsock::~wsock() {
    Close();
}

bool wsock::Open() {
    Close();
    Deadline const deadline(std::max(send_timeout_ms_, least_connect_ms));
    std::vector<PeerAddress> const addresses = resolve(host_, port_, deadline.left_ms());
    int left = static_cast<int>(addresses.size());
    for (PeerAddress const& address : addresses) {
        // Each gets its share of the time, so that a dead first address doesn't hide a living second one.
        fd_ = connected_socket(address, deadline.left_ms() / left--);
        if (fd_ >= 0) {
            break;
        }
    }
    connected = fd_ >= 0;
    return connected;
}

void wsock::Close() {
    if (fd_ >= 0) {
        close(fd_);
        fd_ = -1;
    }
    ahead_ = {};
    connected = false;
}

int wsock::receive(void* buffer, int count, int wait_ms) {
    if (!connected) {
        return -1;
    }
    if (count <= 0) {
        return 0;
    }
    if (ahead_.empty()) {
        if (!wait_for(fd_, POLLIN, wait_ms)) {
            return 0;
        }
        ssize_t const got = recv(fd_, piece_.data(), piece_.size(), 0);
        if (got <= 0) {
            if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
                return 0;
            }
            connected = false;
            return -1;
        }
        ahead_ = std::span(piece_).first(static_cast<size_t>(got));
    }
    // The head of an answer and its rest mostly come together, and are asked for one after the other.
    size_t const taken = std::min(ahead_.size(), static_cast<size_t>(count));
    std::memcpy(buffer, ahead_.data(), taken);
    ahead_ = ahead_.subspan(taken);
    return static_cast<int>(taken);
}

int wsock::Recv(void* buffer, int count) {
    return receive(buffer, count, read_timeout_ms_);
}

int wsock::gather(void* buffer, int count) {
    Deadline const deadline(read_timeout_ms_);
    int got = 0;
    while (got < count) {
        int const piece = receive(static_cast<unsigned char*>(buffer) + got, count - got, deadline.left_ms());
        if (piece <= 0) {
            return got > 0 ? got : piece;
        }
        got += piece;
    }
    return got;
}

int wsock::Send(void const* buffer, int count) {
    if (!connected) {
        return -1;
    }
    Deadline const deadline(send_timeout_ms_);
    int sent = 0;
    while (sent < count) {
        ssize_t const piece = send(fd_, static_cast<unsigned char const*>(buffer) + sent,
                                   static_cast<size_t>(count - sent), MSG_NOSIGNAL);
        if (piece > 0) {
            sent += static_cast<int>(piece);
        } else if (piece < 0 && errno != EAGAIN && errno != EINTR) {
            connected = false;
            return sent > 0 ? sent : -1;
        } else if (!wait_for(fd_, POLLOUT, deadline.left_ms())) {
            // Behind a torn frame the peer would take the next one for its rest.
            connected = sent == 0;
            break;
        }
    }
    return sent;
}

bool wsock::SendAll(void const* buffer, int count) {
    return count <= 0 || Send(buffer, count) == count;
}

void wsock::flush_input() {
    unsigned char waste[4096];
    // Bounded, so that a peer that never stops sending can't hold the worker here.
    for (int piece = 0; piece < 256 && receive(waste, sizeof(waste), 0) > 0; ++piece) {
    }
}

void wsock::set_timeout(int read_timeout_ms, int send_timeout_ms) {
    read_timeout_ms_ = read_timeout_ms;
    send_timeout_ms_ = send_timeout_ms;
}

}  // namespace xsock
