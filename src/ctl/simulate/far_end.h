#pragma once

#include <chrono>
#include <list>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <poll.h>

#include "ctl/line/listener.h"
#include "ctl/line/pty_line.h"
#include "ctl/simulate/faults.h"

namespace sim {

/// Something that the simulation waits for. All of them are served by one thread.
class FarEnd {
 public:
    FarEnd() = default;
    virtual ~FarEnd() = default;
    FarEnd(FarEnd const&) = delete;
    FarEnd& operator=(FarEnd const&) = delete;

    /// The descriptors that it waits for now.
    virtual std::vector<int> awaited() const = 0;
    /// Those of awaited(), in their order, with what has come; called at each turn, at the latest after patience().
    virtual void serve(std::span<pollfd const> ready, double seconds) = 0;
    virtual std::chrono::milliseconds patience() const { return longest_patience; }

    static constexpr std::chrono::milliseconds longest_patience = std::chrono::hours(1);
};

/// The devices of one line, which all hear each request.
class Devices {
 public:
    explicit Devices(Faults& faults) : faults_(faults) {}

    /// False for a node that none is simulated for.
    bool add(CDev& node);
    bool empty() const { return devices_.empty(); }
    /// Empty for silence.
    Bytes answer(View request, double seconds);

 private:
    Faults& faults_;
    std::vector<std::unique_ptr<Device>> devices_;
};

/// What arrives on one descriptor, and the answers to it.
class Conversation {
 public:
    explicit Conversation(int descriptor) : descriptor_(descriptor) {}

    int descriptor() const { return descriptor_; }
    /// A request that has begun.
    bool is_open() const { return !request_.empty(); }
    /// False when the other side has hung up. What isn't answered is forgotten behind a pause.
    bool serve(bool is_ready, Devices& devices, double seconds);

    static constexpr auto pause = std::chrono::milliseconds(20);

 private:
    int descriptor_;
    Bytes request_;
    double heard_s_ = 0;
};

/// A serial line, under a link.
class SerialEnd : public FarEnd {
 public:
    /// Raises std::system_error when the link can't be made.
    SerialEnd(std::string const& link, Devices& devices);

    std::vector<int> awaited() const override { return {line_.master()}; }
    void serve(std::span<pollfd const> ready, double seconds) override;
    std::chrono::milliseconds patience() const override;

 private:
    PtyLine line_;
    Conversation conversation_;
    Devices& devices_;
};

/// A TCP port of the loopback address, with as many connections as there come.
class TcpEnd : public FarEnd {
 public:
    /// 0: a free one. Raises std::system_error.
    TcpEnd(int port, Devices& devices) : listener_(port), devices_(devices) {}
    ~TcpEnd() override;

    int port() const { return listener_.port(); }
    std::vector<int> awaited() const override;
    void serve(std::span<pollfd const> ready, double seconds) override;
    std::chrono::milliseconds patience() const override;

 private:
    Listener listener_;
    std::list<Conversation> connections_;
    Devices& devices_;
};

}  // namespace sim
