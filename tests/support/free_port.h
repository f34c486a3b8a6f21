#pragma once

/// A TCP port on the loopback address that is free and stays this test's: other tests that run at the same time don't
/// take it, even while nobody listens on it. Never one from the range that outgoing connections use.
class FreePort {
 public:
    /// Raises std::runtime_error when none is found.
    FreePort();
    ~FreePort();
    FreePort(FreePort const&) = delete;
    FreePort& operator=(FreePort const&) = delete;

    int number() const { return number_; }

 private:
    int number_ = 0;
    int claim_ = -1;
};

/// True when something on the loopback address takes a connection.
bool accepts_connections(int port);
