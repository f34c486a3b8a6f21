#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

struct mosquitto;
struct mosquitto_message;

/// A message as a subscriber with QoS 2 sees it.
struct MqttMessage {
    std::string topic;
    std::string payload;
    int qos = 0;            ///< that of the publisher
    bool retained = false;  ///< it lay on the broker already: a message that comes live never has the flag
    std::chrono::steady_clock::time_point at = {};
};

/// A client of the test's own that records everything on the broker, in order. To see what is retained, make a fresh
/// one. When the broker goes away it connects and subscribes anew by itself, and then gets the retained ones again.
class MqttProbe {
 public:
    using Predicate = std::function<bool(MqttMessage const&)>;
    using Limit = std::chrono::milliseconds;

    /// Returns when the subscription stands. Raises std::runtime_error when it doesn't within some seconds.
    explicit MqttProbe(int port, std::string topic_filter = "#");
    ~MqttProbe();
    MqttProbe(MqttProbe const&) = delete;
    MqttProbe& operator=(MqttProbe const&) = delete;

    /// Returns when the broker has taken the message; false when it doesn't.
    bool publish(std::string const& topic, std::string const& payload, int qos = 2, bool retain = false);

    /// The number of messages so far: a point behind which to look.
    size_t mark() const;
    std::vector<MqttMessage> messages(size_t since = 0) const;
    std::vector<MqttMessage> on_topic(std::string const& topic, size_t since = 0) const;
    int count(std::string const& topic, size_t since = 0) const;
    int count(std::string const& topic, std::string const& payload, size_t since = 0) const;
    /// Payload of the last message on the topic.
    std::optional<std::string> last(std::string const& topic, size_t since = 0) const;

    /// The first message behind the mark that fits, awaited for `limit` at most.
    std::optional<MqttMessage> wait_for(Predicate const& fits, Limit limit, size_t since = 0) const;
    std::optional<MqttMessage> wait_for(std::string const& topic, Limit limit, size_t since = 0) const;
    std::optional<MqttMessage> wait_for(std::string const& topic, std::string const& payload, Limit limit,
                                        size_t since = 0) const;
    /// Waits until `number` messages on the topic are there.
    bool wait_for_count(std::string const& topic, int number, Limit limit, size_t since = 0) const;

    /// Everything since the mark, one line a message, for the message of a failed test.
    std::string text(size_t since = 0) const;

 private:
    static void on_connect(mosquitto* client, void* self, int code);
    static void on_subscribe(mosquitto* client, void* self, int id, int count, int const* granted);
    static void on_message(mosquitto* client, void* self, mosquitto_message const* message);
    static void on_publish(mosquitto* client, void* self, int id);

    std::string const topic_filter_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<MqttMessage> messages_;
    std::set<int> published_;
    bool subscribed_ = false;
    std::unique_ptr<mosquitto, void (*)(mosquitto*)> client_;
};
