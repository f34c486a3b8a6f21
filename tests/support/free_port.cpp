#include "support/free_port.h"

#include <cstdio>
#include <random>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

sockaddr_in loopback(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<unsigned short>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool can_bind(int port) {
    int const fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in const address = loopback(port);
    bool const bound = bind(fd, reinterpret_cast<sockaddr const*>(&address), sizeof(address)) == 0;
    close(fd);
    return bound;
}

/// An abstract local socket of the port's name: only one process can hold it, and it vanishes with that process.
int claim(int port) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path + 1, sizeof(address.sun_path) - 1, "ostrand-test-port-%d", port);
    int const fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(fd, reinterpret_cast<sockaddr const*>(&address), sizeof(address)) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

FreePort::FreePort() {
    std::random_device random;
    std::uniform_int_distribution<int> numbers(12000, 32000);
    for (int attempt = 0; attempt < 1000; ++attempt) {
        number_ = numbers(random);
        claim_ = claim(number_);
        if (claim_ >= 0 && can_bind(number_)) {
            return;
        }
        if (claim_ >= 0) {
            close(claim_);
        }
    }
    throw std::runtime_error("no free port");
}

FreePort::~FreePort() {
    close(claim_);
}

bool accepts_connections(int port) {
    int const fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in const address = loopback(port);
    bool const accepted = connect(fd, reinterpret_cast<sockaddr const*>(&address), sizeof(address)) == 0;
    close(fd);
    return accepted;
}
