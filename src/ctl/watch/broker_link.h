#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ctl/broker_options.h"
#include "ctl/watch/message.h"
#include "foundation/resolve.h"
#include "foundation/tls_context.h"

struct mosquitto;
struct mosquitto_message;

namespace watch {

/// A connection to the broker without a thread of its own: whoever holds it waits for its descriptor and calls turn().
/// It connects anew by itself. Nothing that was sent over one connection is repeated over the next: a command that
/// arrives minutes late is worse than none.
class BrokerLink {
 public:
    using Time = std::chrono::steady_clock::time_point;
    using Taker = std::function<void(Message const&)>;
    enum class Delivery { none, under_way, taken, unknown };

    /// Messages of these topics go to `taker`, within turn().
    BrokerLink(BrokerOptions options, std::vector<std::string> topics, Taker taker);
    BrokerLink(BrokerLink const&) = delete;
    BrokerLink& operator=(BrokerLink const&) = delete;
    ~BrokerLink();

    /// What to wait for by poll(); -1 while there is nothing to be waited for.
    int descriptor() const;
    short events() const;
    /// Does what there is to do; to be called when the descriptor is ready, and a few times a second anyway.
    void turn(Time now);

    /// Connected and subscribed.
    bool is_up() const { return is_up_; }
    /// Attempts that have failed since it was last up.
    int failures() const { return failures_; }
    /// Why it isn't up.
    std::string const& reason() const { return reason_; }

    /// Sends with QoS 2, not retained. False when it can't be sent.
    bool send(std::string const& topic, std::string const& payload);
    /// What has become of what was sent last.
    Delivery delivery() const { return delivery_; }

 private:
    struct Callbacks;

    void open(Time now);
    void close(Time now, std::string reason);
    bool pump();

    BrokerOptions options_;
    std::vector<std::string> topics_;
    Taker taker_;
    std::unique_ptr<xMQ::TlsContext> tls_;
    std::unique_ptr<mosquitto, void (*)(mosquitto*)> client_;
    bool is_up_ = false;
    bool is_refused_ = false;
    int failures_ = 0;
    std::string reason_;
    std::vector<xsock::PeerAddress> addresses_;  ///< of the host, to be tried still
    Time begun_;
    Time next_attempt_;
    int sent_id_ = 0;
    Delivery delivery_ = Delivery::none;
    std::exception_ptr fault_;
};

}  // namespace watch
