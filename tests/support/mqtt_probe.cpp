#include "support/mqtt_probe.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <mosquitto.h>

namespace {

constexpr auto broker_limit = std::chrono::seconds(10);

/// The library is set up once a process and never torn down: the code under test may use it too.
void set_up_library() {
    static bool const done = mosquitto_lib_init() == MOSQ_ERR_SUCCESS;
    if (!done) {
        throw std::runtime_error("mosquitto_lib_init failed");
    }
}

MqttProbe::Predicate topic_is(std::string const& topic) {
    return [topic](MqttMessage const& message) { return message.topic == topic; };
}

}  // namespace

MqttProbe::MqttProbe(int port, std::string topic_filter)
    : topic_filter_(std::move(topic_filter)), client_(nullptr, &mosquitto_destroy) {
    set_up_library();
    client_.reset(mosquitto_new(nullptr, true, this));
    mosquitto_int_option(client_.get(), MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_reconnect_delay_set(client_.get(), 1, 1, false);
    mosquitto_connect_callback_set(client_.get(), on_connect);
    mosquitto_subscribe_callback_set(client_.get(), on_subscribe);
    mosquitto_message_callback_set(client_.get(), on_message);
    mosquitto_publish_callback_set(client_.get(), on_publish);
    if (mosquitto_connect(client_.get(), "127.0.0.1", port, 60) != MOSQ_ERR_SUCCESS) {
        throw std::runtime_error("the probe can't reach the broker");
    }
    mosquitto_loop_start(client_.get());
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, broker_limit, [this] { return subscribed_; })) {
        lock.unlock();
        mosquitto_loop_stop(client_.get(), true);
        throw std::runtime_error("the broker takes no subscription");
    }
}

MqttProbe::~MqttProbe() {
    mosquitto_disconnect(client_.get());
    mosquitto_loop_stop(client_.get(), true);
}

void MqttProbe::on_connect(mosquitto* client, void* self, int code) {
    if (code == 0) {
        mosquitto_subscribe(client, nullptr, static_cast<MqttProbe*>(self)->topic_filter_.c_str(), 2);
    }
}

void MqttProbe::on_subscribe(mosquitto* /*client*/, void* self, int /*id*/, int /*count*/, int const* /*granted*/) {
    auto* probe = static_cast<MqttProbe*>(self);
    std::lock_guard const lock(probe->mutex_);
    probe->subscribed_ = true;
    probe->changed_.notify_all();
}

void MqttProbe::on_message(mosquitto* /*client*/, void* self, mosquitto_message const* message) {
    auto* probe = static_cast<MqttProbe*>(self);
    std::string payload;
    if (message->payloadlen > 0) {
        payload.assign(static_cast<char const*>(message->payload), static_cast<size_t>(message->payloadlen));
    }
    std::lock_guard const lock(probe->mutex_);
    probe->messages_.push_back(
        {message->topic, std::move(payload), message->qos, message->retain, std::chrono::steady_clock::now()});
    probe->changed_.notify_all();
}

void MqttProbe::on_publish(mosquitto* /*client*/, void* self, int id) {
    auto* probe = static_cast<MqttProbe*>(self);
    std::lock_guard const lock(probe->mutex_);
    probe->published_.insert(id);
    probe->changed_.notify_all();
}

bool MqttProbe::publish(std::string const& topic, std::string const& payload, int qos, bool retain) {
    int id = 0;
    {
        std::lock_guard const lock(mutex_);
        published_.clear();
    }
    if (mosquitto_publish(client_.get(), &id, topic.c_str(), static_cast<int>(payload.size()), payload.data(), qos,
                          retain) != MOSQ_ERR_SUCCESS) {
        return false;
    }
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, broker_limit, [this, id] { return published_.count(id) != 0; });
}

size_t MqttProbe::mark() const {
    std::lock_guard const lock(mutex_);
    return messages_.size();
}

std::vector<MqttMessage> MqttProbe::messages(size_t since) const {
    std::lock_guard const lock(mutex_);
    return {messages_.begin() + static_cast<std::ptrdiff_t>(std::min(since, messages_.size())), messages_.end()};
}

std::vector<MqttMessage> MqttProbe::on_topic(std::string const& topic, size_t since) const {
    std::vector<MqttMessage> found = messages(since);
    std::erase_if(found, [&topic](MqttMessage const& message) { return message.topic != topic; });
    return found;
}

int MqttProbe::count(std::string const& topic, size_t since) const {
    return static_cast<int>(on_topic(topic, since).size());
}

int MqttProbe::count(std::string const& topic, std::string const& payload, size_t since) const {
    std::vector<MqttMessage> const all = on_topic(topic, since);
    return static_cast<int>(std::count_if(
        all.begin(), all.end(), [&payload](MqttMessage const& message) { return message.payload == payload; }));
}

std::optional<std::string> MqttProbe::last(std::string const& topic, size_t since) const {
    std::vector<MqttMessage> const all = on_topic(topic, since);
    return all.empty() ? std::nullopt : std::optional(all.back().payload);
}

std::optional<MqttMessage> MqttProbe::wait_for(Predicate const& fits, Limit limit, size_t since) const {
    auto const end = std::chrono::steady_clock::now() + limit;
    for (size_t next = since;;) {
        // Tested without the lock: a predicate may ask the probe itself.
        std::vector<MqttMessage> const fresh = messages(next);
        for (MqttMessage const& message : fresh) {
            if (fits(message)) {
                return message;
            }
        }
        next += fresh.size();
        std::unique_lock lock(mutex_);
        if (!changed_.wait_until(lock, end, [&] { return messages_.size() > next; })) {
            return std::nullopt;
        }
    }
}

std::optional<MqttMessage> MqttProbe::wait_for(std::string const& topic, Limit limit, size_t since) const {
    return wait_for(topic_is(topic), limit, since);
}

std::optional<MqttMessage> MqttProbe::wait_for(std::string const& topic, std::string const& payload, Limit limit,
                                               size_t since) const {
    return wait_for([&](MqttMessage const& message) { return message.topic == topic && message.payload == payload; },
                    limit, since);
}

bool MqttProbe::wait_for_count(std::string const& topic, int number, Limit limit, size_t since) const {
    int seen = 0;
    return wait_for([&](MqttMessage const& message) { return message.topic == topic && ++seen >= number; }, limit,
                    since)
        .has_value();
}

std::string MqttProbe::text(size_t since) const {
    std::ostringstream result;
    for (MqttMessage const& message : messages(since)) {
        result << message.topic << " = " << message.payload << " (QoS " << message.qos
               << (message.retained ? ", retained)" : ")") << "\n";
    }
    return result.str();
}
