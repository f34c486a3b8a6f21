#pragma once

#include <array>
#include <span>
#include <string>

namespace xsock {

/// One TCP connection to a peer. Used by one thread at a time. No call raises; on an unconnected object reads and
/// writes fail softly. Time-outs are in milliseconds, 0 or less means no wait.
class wsock {
 public:
    wsock(std::string const& name, std::string const& host, int port, int read_timeout_ms, int send_timeout_ms);
    ~wsock();
    wsock(wsock const&) = delete;
    wsock& operator=(wsock const&) = delete;

    /// Connects within the send time-out, a second at least. False when the peer can't be reached.
    bool Open();
    void Close();
    /// What the first arrival brings, at most `count` bytes; 0 at time-out, which leaves the connection; -1 when the
    /// connection is gone.
    int Recv(void* buffer, int count);
    /// Bytes sent within the send time-out; -1 when the connection is gone and nothing went out.
    int Send(void const* buffer, int count);
    /// True only if the whole count arrived within the read time-out.
    bool RecvAll(void* buffer, int count) { return gather(buffer, count) == count; }
    /// What arrives of `count` bytes within the read time-out; -1 on an unconnected object.
    int gather(void* buffer, int count);
    bool SendAll(void const* buffer, int count);
    /// Reads away what is pending.
    void flush_input();
    void set_timeout(int read_timeout_ms, int send_timeout_ms);

    /// The connection stands as far as the last call could see.
    bool connected = false;

 private:
    int receive(void* buffer, int count, int wait_ms);

    std::string name_;
    std::string host_;
    int port_;
    int read_timeout_ms_;
    int send_timeout_ms_;
    int fd_ = -1;
    /// What has arrived with the last piece and hasn't been asked for yet.
    std::array<unsigned char, 2048> piece_;
    std::span<unsigned char const> ahead_;
};

}  // namespace xsock
