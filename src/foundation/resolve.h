#pragma once

#include <string>
#include <vector>

#include <sys/socket.h>

namespace xsock {

struct PeerAddress {
    sockaddr_storage storage{};
    socklen_t length = 0;
};

/// Addresses of a host for TCP, in the order of preference; none when the name isn't known within `wait_ms`, or the
/// port is outside 1 to 65535. Numeric addresses need no wait. The resolver of the system can't be given a time limit,
/// so a name is asked for on a thread of its own, which ends by itself when the answer comes too late.
std::vector<PeerAddress> resolve(std::string const& host, int port, int wait_ms);

}  // namespace xsock
