#include "ctl/watch/broker_link.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

#include <mosquitto.h>
#include <netdb.h>
#include <poll.h>
#include <sys/ioctl.h>

#include "ctl/language/phrase.h"

namespace watch {

using std::chrono::seconds;

namespace {

constexpr int keep_alive_s = 30;
constexpr int resolve_ms = 3000;
/// A broker that takes the connection and doesn't answer has failed the attempt.
constexpr auto connect_limit = seconds(10);
constexpr int longest_pause_s = 10;
/// Between two looks at the keys.
constexpr int packets_a_turn = 2000;

std::string numeric(xsock::PeerAddress const& address) {
    char host[NI_MAXHOST] = {};
    getnameinfo(reinterpret_cast<sockaddr const*>(&address.storage), address.length, host, sizeof(host), nullptr, 0,
                NI_NUMERICHOST);
    return host;
}

std::string reason_text(int code, int error) {
    std::string text = code == MOSQ_ERR_ERRNO ? std::strerror(error) : mosquitto_strerror(code);
    text.erase(text.find_last_not_of('.') + 1);
    return text;
}

}  // namespace

/// What the library reports. Nothing must be raised through it; turn() raises it behind.
struct BrokerLink::Callbacks {
    template <auto Handler, typename... Args>
    static void guarded(mosquitto* /*client*/, void* self, Args... args) noexcept {
        auto& link = *static_cast<BrokerLink*>(self);
        try {
            Handler(link, args...);
        } catch (...) {
            link.fault_ = std::current_exception();
        }
    }

    static void connected(BrokerLink& link, int code) {
        if (code != 0) {
            link.is_refused_ = true;
            link.reason_ = mosquitto_connack_string(code);
            return;
        }
        std::vector<char*> topics;
        for (std::string& topic : link.topics_) {
            topics.push_back(topic.data());
        }
        mosquitto_subscribe_multiple(link.client_.get(), nullptr, static_cast<int>(topics.size()), topics.data(), qos,
                                     0, nullptr);
    }

    static void library_told(BrokerLink const& link, int level, char const* text) {
        if (link.tls_) {
            link.tls_->told(level, text);
        }
    }

    static void subscribed(BrokerLink& link, int /*id*/, int count, int const* granted) {
        constexpr int refused = 0x80;
        if (std::find(granted, granted + count, refused) != granted + count) {
            link.is_refused_ = true;
            link.reason_ = say("the broker refuses the subscription");
            return;
        }
        link.is_up_ = true;
        link.failures_ = 0;
        link.reason_.clear();
    }

    static void message(BrokerLink const& link, mosquitto_message const* message) {
        auto const* const payload = static_cast<char const*>(message->payload);
        auto const size = static_cast<size_t>(std::max(message->payloadlen, 0));
        link.taker_({message->topic, {payload != nullptr ? payload : "", size}, message->retain});
    }

    static void published(BrokerLink& link, int id) {
        if (id == link.sent_id_) {
            link.delivery_ = Delivery::taken;
        }
    }

    /// Values are published again soon; and of messages with a higher one a broker keeps only so many for one client.
    static constexpr int qos = 0;
};

BrokerLink::BrokerLink(BrokerOptions options, std::vector<std::string> topics, Taker taker)
    : options_(std::move(options)),
      topics_(std::move(topics)),
      taker_(std::move(taker)),
      client_(nullptr, &mosquitto_destroy) {
    if (mosquitto_lib_init() != MOSQ_ERR_SUCCESS) {
        throw std::runtime_error("mosquitto_lib_init");
    }
}

BrokerLink::~BrokerLink() {
    if (client_) {
        mosquitto_disconnect(client_.get());
    }
}

int BrokerLink::descriptor() const {
    return client_ ? mosquitto_socket(client_.get()) : -1;
}

short BrokerLink::events() const {
    bool const writes = client_ && mosquitto_want_write(client_.get());
    return static_cast<short>(writes ? POLLIN | POLLOUT : POLLIN);
}

/// A fresh object for each connection: the library would repeat what the last one didn't get acknowledged.
void BrokerLink::open(Time now) {
    begun_ = now;
    if (addresses_.empty()) {
        addresses_ = xsock::resolve(options_.host, options_.port, resolve_ms);
        std::reverse(addresses_.begin(), addresses_.end());
    }
    if (addresses_.empty()) {
        close(now, say("the host isn't known"));
        return;
    }
    client_.reset(mosquitto_new(nullptr, true, this));
    if (!client_) {
        throw std::bad_alloc();
    }
    mosquitto_int_option(client_.get(), MOSQ_OPT_TCP_NODELAY, 1);
    try {
        tls_ = xMQ::let_in(client_.get(), options_.access, options_.host);
    } catch (std::exception const& e) {
        close(now, e.what());
        return;
    }
    mosquitto_log_callback_set(client_.get(), Callbacks::guarded<Callbacks::library_told>);
    mosquitto_connect_callback_set(client_.get(), Callbacks::guarded<Callbacks::connected>);
    mosquitto_subscribe_callback_set(client_.get(), Callbacks::guarded<Callbacks::subscribed>);
    mosquitto_message_callback_set(client_.get(), Callbacks::guarded<Callbacks::message>);
    mosquitto_publish_callback_set(client_.get(), Callbacks::guarded<Callbacks::published>);
    std::string const address = numeric(addresses_.back());
    addresses_.pop_back();
    int const code = mosquitto_connect_async(client_.get(), address.c_str(), options_.port, keep_alive_s);
    if (code != MOSQ_ERR_SUCCESS) {
        close(now, reason_text(code, errno));
    }
}

void BrokerLink::close(Time now, std::string reason) {
    client_.reset();
    is_refused_ = false;
    reason_ = std::move(reason);
    bool const was_up = std::exchange(is_up_, false);
    bool const has_another = !was_up && !addresses_.empty();
    if (was_up) {
        addresses_.clear();
    } else if (!has_another) {
        ++failures_;
    }
    next_attempt_ = has_another ? now : now + seconds(std::clamp(failures_, 1, longest_pause_s));
    if (delivery_ == Delivery::under_way) {
        delivery_ = Delivery::unknown;
    }
}

/// All that has come and can go; false when the connection has ended.
bool BrokerLink::pump() {
    int code = mosquitto_loop(client_.get(), 0, 1);
    int error = errno;
    int bytes = 0;
    for (int packets = 0; code == MOSQ_ERR_SUCCESS && packets < packets_a_turn; ++packets) {
        if (ioctl(mosquitto_socket(client_.get()), FIONREAD, &bytes) != 0 || bytes == 0) {
            break;
        }
        code = mosquitto_loop_read(client_.get(), 1);
        error = errno;
    }
    if (fault_) {
        std::rethrow_exception(std::exchange(fault_, nullptr));
    }
    if (code != MOSQ_ERR_SUCCESS && !is_refused_) {
        reason_ = tls_ && !tls_->reason().empty() ? tls_->reason() : reason_text(code, error);
    }
    return code == MOSQ_ERR_SUCCESS && !is_refused_;
}

void BrokerLink::turn(Time now) {
    if (!client_) {
        if (now >= next_attempt_) {
            open(now);
        }
        return;
    }
    if (!pump()) {
        close(now, reason_);
    } else if (!is_up_ && now - begun_ > connect_limit) {
        close(now, say("the broker doesn't answer"));
    }
}

bool BrokerLink::send(std::string const& topic, std::string const& payload) {
    delivery_ = Delivery::none;
    bool const sent =
        is_up_ && mosquitto_publish(client_.get(), &sent_id_, topic.c_str(), static_cast<int>(payload.size()),
                                    payload.data(), 2, false) == MOSQ_ERR_SUCCESS;
    if (sent) {
        delivery_ = Delivery::under_way;
    }
    return sent;
}

}  // namespace watch
