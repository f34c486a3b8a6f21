#pragma once

#include <string>
#include <vector>

/// A UDP socket on the loopback address that takes what comes and answers nothing.
class SilentSocket {
 public:
    /// Raises std::runtime_error when there is none to be had.
    SilentSocket();
    ~SilentSocket();
    SilentSocket(SilentSocket const&) = delete;
    SilentSocket& operator=(SilentSocket const&) = delete;

    std::string peer() const { return "127.0.0.1:" + std::to_string(port_); }
    /// Everything that has come so far.
    std::vector<std::string> const& received();

 private:
    int fd_;
    int port_;
    std::vector<std::string> received_;
};
