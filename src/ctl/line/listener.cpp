#include "ctl/line/listener.h"

#include <cerrno>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

Listener::Listener(int port) : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<unsigned short>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    int const on = 1;
    setsockopt(descriptor_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (descriptor_ < 0 || bind(descriptor_, generic, length) != 0 || listen(descriptor_, SOMAXCONN) != 0 ||
        getsockname(descriptor_, generic, &length) != 0) {
        int const error = errno;
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
        throw std::system_error(error, std::generic_category(), "listen");
    }
    port_ = ntohs(address.sin_port);
}

Listener::~Listener() {
    close(descriptor_);
}

int Listener::accept() const {
    int const connection = accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC);
    int const on = 1;
    if (connection >= 0) {
        setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    }
    return connection;
}
