#pragma once

/// Listens on a port of the loopback address.
class Listener {
 public:
    /// 0: a free one. Raises std::system_error.
    explicit Listener(int port = 0);
    ~Listener();
    Listener(Listener const&) = delete;
    Listener& operator=(Listener const&) = delete;

    int descriptor() const { return descriptor_; }
    int port() const { return port_; }
    /// The next connection, without delay for small packets; below 0 when there is none.
    int accept() const;

 private:
    int descriptor_ = -1;
    int port_ = 0;
};
