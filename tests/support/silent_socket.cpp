#include "support/silent_socket.h"

#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

SilentSocket::SilentSocket() : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (bind(fd_, plain, length) != 0 || getsockname(fd_, plain, &length) != 0) {
        close(fd_);
        throw std::runtime_error("no UDP socket");
    }
    port_ = ntohs(address.sin_port);
}

SilentSocket::~SilentSocket() {
    close(fd_);
}

std::vector<std::string> const& SilentSocket::received() {
    std::string datagram(2048, '\0');
    for (ssize_t length = 0; (length = recv(fd_, datagram.data(), datagram.size(), 0)) >= 0;) {
        received_.emplace_back(datagram, 0, static_cast<size_t>(length));
    }
    return received_;
}
