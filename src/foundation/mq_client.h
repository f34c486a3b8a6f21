#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "foundation/mq_access.h"
#include "foundation/sync_vector.h"

struct mosquitto;
struct mosquitto_message;

namespace xMQ {

class TlsContext;

struct subsItem {
    std::string topic;
    int qos = 2;
};

/// A received message.
class mqMessage : public xCommon::svMessage {
 public:
    mqMessage(std::string message_topic, std::string message_payload)
        : svMessage(svMessage::message), topic(std::move(message_topic)), payload(std::move(message_payload)) {}
    size_t weight() const override { return sizeof(*this) + topic.size() + payload.size(); }

    std::string topic;
    std::string payload;
};

/// A client of one broker with a network thread of its own. On each connection it queues an entry of type 0, for each
/// received message one of type 1. It keeps trying for ever, whatever failed, waiting 1 s growing to 10 s between
/// attempts; publish(), subscribe() and the getters may be called beside the network thread.
class mqClient {
 public:
    /// `identity` is cut at 23 bytes, the limit of MQTT 3.1; a torn UTF-8 character at the cut and trailing NULs go.
    mqClient(bool clean_session, xCommon::SyncVector* queue, std::string const& identity, int keep_alive_s);
    virtual ~mqClient();
    mqClient(mqClient const&) = delete;
    mqClient& operator=(mqClient const&) = delete;

    /// Ahead of connect(). Files are read at each attempt.
    void set_access(Access access) { access_ = std::move(access); }
    /// Ahead of connect(): a retained state on a topic, QoS 1. "online" is published at each connection; "offline" is
    /// the last will, and comes from the broker alone, at an ordered end too. Empty for none.
    void set_presence(std::string topic) { presence_topic_ = std::move(topic); }

    /// Starts the connection and the network thread and doesn't wait for the broker. False only when the thread runs
    /// already. With `quiet` a failed attempt is left for the caller to tell of.
    virtual bool connect(std::string const& host, int port, bool quiet = false);
    /// Ends the connection and the thread.
    virtual void disconnect();
    /// Hands one message over to be sent. False while there is no connection, when the broker has stalled (see below),
    /// or when the topic can't be published on, which is logged. The first message of a burst wakes the network thread,
    /// the others go out with its next rounds, some milliseconds later at most.
    virtual bool publish(std::string const& topic, std::string const& payload, int qos, bool retain);
    /// Subscribes all items; one that the protocol forbids is logged and left out. False then, and while there is no
    /// connection.
    virtual bool subscribe(std::vector<subsItem> const& items);
    /// Tries again, with all that a subscribe() of this connection has failed for although the connection stood.
    /// Cheap when there is nothing; to be called once a pass.
    void resubscribe();
    void unsubscribe(std::string const& topic);
    void unsubscribe();

    /// Read a public field of this client under its lock.
    bool get_bool(bool const& field) const;
    long long get_i64(long long const& field);

    /// Waits until the connection stands or the first attempt has failed, `wait_ms` at most; true if it stands.
    bool wait_connected(int wait_ms);

    bool connected = false;
    /// Whole seconds since the connection was lost, or since connect() if it never stood; 0 while it stands.
    long long stamp = 0;

    std::string const& identity() const { return identity_; }

 private:
    struct Outgoing {
        std::string topic;
        std::string payload;
        int qos;
        bool retain;
    };

    // What the library reports, see renew_client().
    void on_connect(int code);
    void on_disconnect(int code);
    void on_publish(int id);
    void on_subscribe(int id, int count, int const* granted);
    void on_message(mosquitto_message const* message);
    void on_library_log(int level, char const* text);

    /// Under `client_lock_`.
    void renew_client();
    void set_up_presence();
    void tell_presence();
    void run();
    bool serve_connection();
    void keep_for_later(subsItem const& item, char const* reason);
    enum class Failure {
        away,     ///< there is no broker
        broken,   ///< the connection broke off
        refusal,  ///< the two don't come to terms
    };
    void attempt_failed(std::string const& reason, Failure failure);
    void attempt_ended(int code, int error);
    void connection_lost();
    bool wait_before_retry(int seconds);
    bool has_room(std::unique_lock<std::mutex>& lock);
    bool send(Outgoing const& message);
    size_t send_outbox(size_t most);
    bool is_under_way();
    int round();

    /// Held while the library's object is used from outside its network loop, and while it is replaced.
    std::mutex client_lock_;
    std::unique_ptr<mosquitto, void (*)(mosquitto*)> client_;
    xCommon::SyncVector* queue_;
    std::string identity_;
    std::string host_;
    int keep_alive_s_;
    int port_ = 0;
    bool clean_session_;
    Access access_;
    std::string presence_topic_;
    /// The network thread's own.
    std::unique_ptr<TlsContext> tls_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool stop_ = false;
    bool is_leaving_ = false;  ///< of its own will
    bool failure_logged_ = false;
    bool refusal_logged_ = false;
    bool attempt_failed_ = false;
    bool stall_logged_ = false;
    bool miss_logged_ = false;
    /// The network thread will look into the outbox by itself.
    bool is_awake_ = false;
    /// The last round found nothing to do; the network thread's own.
    bool is_idle_ = false;
    std::chrono::steady_clock::time_point since_;
    std::chrono::steady_clock::time_point last_progress_;
    /// Ids of messages that the broker hasn't acknowledged (QoS 0: that haven't gone out), with their QoS.
    std::unordered_map<int, int> waiting_;
    /// Ids acknowledged before they could be entered there.
    std::unordered_set<int> early_;
    /// What the network thread is to send.
    std::deque<Outgoing> outbox_;
    std::set<std::string> topics_;
    /// Subscriptions to be tried again.
    std::vector<subsItem> missed_;
    std::thread thread_;
};

class mqUtils {
 public:
    /// Makes a client and connects it; null when the broker can't be reached within a second.
    static std::unique_ptr<mqClient> mqActivate(std::string const& host, int port, xCommon::SyncVector* queue,
                                                std::string const& name, bool clean_session, int keep_alive_s);
    /// A message can be published on the topic.
    static bool is_topic(std::string const& topic);
    /// The message form of an entry of type 1, or null. The entry keeps its owner. `name` appears in the log when the
    /// entry claims to be a message and isn't.
    static mqMessage* mqCast(xCommon::svMessage* entry, std::string const& name);
};

}  // namespace xMQ
