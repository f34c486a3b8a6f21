#include "foundation/mq_client.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

#include <mosquitto.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "foundation/tls_context.h"
#include "foundation/xexception.h"
#include "foundation/xlog.h"
#include "foundation/xmisc.h"
#include "foundation/xsignal.h"
#include "foundation/xstring.h"

namespace xMQ {

using xCommon::global_logf;
using xCommon::lmtError;
using xCommon::lmtInfo;
using Clock = std::chrono::steady_clock;

namespace {

constexpr size_t identity_limit = 23;
constexpr int loop_wait_ms = 1000;
constexpr auto round_pause = std::chrono::milliseconds(1);
/// Messages under way at once; the library itself has 20 of them unacknowledged at most.
constexpr size_t send_ahead = 60;
constexpr int reads_a_round = 16;
constexpr int packets_a_read = 64;
/// An acknowledgement.
constexpr int least_packet = 4;
constexpr int first_retry_s = 1;
constexpr int last_retry_s = 10;
/// A broker that takes the connection and doesn't answer has failed the attempt.
constexpr auto connect_limit = std::chrono::seconds(10);
/// A broker that has acknowledged nothing for `stall_time` while `stall_count` messages wait is taken as gone.
constexpr auto stall_time = std::chrono::seconds(5);
constexpr size_t stall_count = 10000;
/// No device takes a longer command.
constexpr int payload_limit = 65536;
/// MQTT numbers its messages with 16 bits: more can't be under way at all.
constexpr size_t waiting_limit = 60000;
constexpr char present[] = "online";
constexpr char absent[] = "offline";

std::string without_padding(std::string identity) {
    while (!identity.empty() && identity.back() == '\0') {
        identity.pop_back();
    }
    return identity;
}

/// The library refuses these, and its clean-up then closes descriptors that aren't its own.
bool is_usable(std::string const& identity) {
    return !identity.empty() && identity.find('\0') == std::string::npos &&
           mosquitto_validate_utf8(identity.data(), static_cast<int>(identity.size())) == MOSQ_ERR_SUCCESS;
}

/// While it is on, what is written leaves in full segments only.
void set_cork(int fd, int on) {
    setsockopt(fd, IPPROTO_TCP, TCP_CORK, &on, sizeof(on));
}

/// Hands what the library reports to its client. Nothing must be raised through the library.
template <auto Handler, typename... Args>
void report(mosquitto* /*client*/, void* self, Args... args) noexcept {
    try {
        (static_cast<mqClient*>(self)->*Handler)(args...);
    } catch (std::exception const& e) {
        global_logf(lmtError, "MQTT : исключение в обработчике : %s", e.what());
    }
}

void log_unpublished(std::string const& topic, int code) {
    global_logf(lmtError, "MQTT : публикация в топик '%s' невозможна : %s", topic, mosquitto_strerror(code));
}

/// Reason of a failed attempt, for the middle of a line.
std::string reason_text(int code, int error) {
    std::string text = code == MOSQ_ERR_ERRNO ? std::strerror(error) : mosquitto_strerror(code);
    while (!text.empty() && text.back() == '.') {
        text.pop_back();
    }
    return text;
}

}  // namespace

mqClient::mqClient(bool clean_session, xCommon::SyncVector* queue, std::string const& identity, int keep_alive_s)
    : client_(nullptr, &mosquitto_destroy),
      queue_(queue),
      identity_(without_padding(xCommon::xString::CutUtf8(identity, identity_limit))),
      keep_alive_s_(keep_alive_s),
      clean_session_(clean_session),
      since_(Clock::now()),
      last_progress_(Clock::now()) {}

/// A fresh object for every connection. The library carries half-received messages of QoS 2 over to the next one, and a
/// broker that begins a clean session numbers its messages anew: an old command would be executed in place of a new
/// one.
void mqClient::renew_client() {
    client_.reset();
    // Without an identity that can be used the broker gives the client one of its own.
    bool const usable = is_usable(identity_);
    client_.reset(mosquitto_new(usable ? identity_.c_str() : nullptr, clean_session_ || !usable, this));
    if (!client_) {
        throw std::bad_alloc();
    }
    mosquitto_threaded_set(client_.get(), true);
    mosquitto_int_option(client_.get(), MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_connect_callback_set(client_.get(), report<&mqClient::on_connect>);
    mosquitto_disconnect_callback_set(client_.get(), report<&mqClient::on_disconnect>);
    mosquitto_publish_callback_set(client_.get(), report<&mqClient::on_publish>);
    mosquitto_subscribe_callback_set(client_.get(), report<&mqClient::on_subscribe>);
    mosquitto_message_callback_set(client_.get(), report<&mqClient::on_message>);
    tls_ = let_in(client_.get(), access_, host_);
    if (tls_) {
        mosquitto_log_callback_set(client_.get(), report<&mqClient::on_library_log>);
    }
    set_up_presence();
    std::lock_guard const lock(mutex_);
    waiting_.clear();
    early_.clear();
    outbox_.clear();
    is_awake_ = false;
    topics_.clear();
}

void mqClient::set_up_presence() {
    if (presence_topic_.empty()) {
        return;
    }
    int const code = mosquitto_will_set(client_.get(), presence_topic_.c_str(), static_cast<int>(std::strlen(absent)),
                                        absent, 1, true);
    if (code != MOSQ_ERR_SUCCESS) {
        throw xCommon::xExceptionf("топик '%s' : %s", presence_topic_, mosquitto_strerror(code));
    }
}

/// On the network thread.
void mqClient::tell_presence() {
    send({presence_topic_, present, 1, true});
}

mqClient::~mqClient() {
    mqClient::disconnect();
}

bool mqClient::connect(std::string const& host, int port, bool quiet) {
    if (thread_.joinable()) {
        return false;
    }
    host_ = host;
    port_ = port;
    {
        std::lock_guard const lock(mutex_);
        stop_ = is_leaving_ = false;
        failure_logged_ = refusal_logged_ = quiet;
        attempt_failed_ = false;
        since_ = Clock::now();
    }
    thread_ = std::thread(&mqClient::run, this);
    return true;
}

void mqClient::disconnect() {
    if (!thread_.joinable()) {
        return;
    }
    send_outbox(waiting_limit);
    {
        std::lock_guard const lock(mutex_);
        is_leaving_ = true;
    }
    {
        // Ahead of the stop, so that the loop still sends it.
        std::lock_guard const lock(client_lock_);
        if (presence_topic_.empty()) {
            mosquitto_disconnect(client_.get());
        } else {
            // A broker that is told of the end keeps the will to itself. This only wakes the loop.
            mosquitto_unsubscribe(client_.get(), nullptr, presence_topic_.c_str());
        }
    }
    {
        std::lock_guard const lock(mutex_);
        stop_ = true;
    }
    changed_.notify_all();
    thread_.join();
    connection_lost();
    std::lock_guard const lock(client_lock_);
    client_.reset();
}

/// The network thread. The library's own endless loop gives up for good after some errors (a reply that is no MQTT, a
/// refused login, a name that doesn't resolve at the first attempt), so the loop and the pauses are run here.
void mqClient::run() {
    xCommon::name_thread("mqtt", identity_);
    xCommon::FaultStack const fault_stack;
    int pause_s = first_retry_s;
    while (!get_bool(stop_)) {
        bool stood = false;
        try {
            stood = serve_connection();
        } catch (std::exception const& e) {
            attempt_failed(e.what(), Failure::refusal);
        }
        connection_lost();
        if (!wait_before_retry(stood ? first_retry_s : pause_s)) {
            return;
        }
        pause_s = stood ? first_retry_s : std::min(pause_s * 2, last_retry_s);
    }
}

/// One connection from the attempt to its end; true if it stood.
bool mqClient::serve_connection() {
    {
        std::lock_guard const lock(client_lock_);
        renew_client();
    }
    auto const begun = Clock::now();
    bool stood = false;
    int code = mosquitto_connect_async(client_.get(), host_.c_str(), port_, keep_alive_s_);
    int error = errno;
    while (code == MOSQ_ERR_SUCCESS && !get_bool(stop_)) {
        code = mosquitto_loop(client_.get(), loop_wait_ms, 1);
        error = errno;
        while (code == MOSQ_ERR_SUCCESS && is_under_way()) {
            std::this_thread::sleep_for(round_pause);
            code = round();
            error = errno;
        }
        stood = stood || get_bool(connected);
        if (!stood && Clock::now() - begun > connect_limit) {
            code = MOSQ_ERR_ERRNO;
            error = ETIMEDOUT;
        }
    }
    if (!stood && !get_bool(stop_)) {
        attempt_ended(code, error);
    }
    return stood;
}

void mqClient::attempt_ended(int code, int error) {
    bool const is_known = tls_ && !tls_->reason().empty();
    if (is_known) {
        attempt_failed(tls_->reason(), Failure::refusal);
        return;
    }
    // Of an end that isn't an error to the system.
    bool const is_plain_end = access_.is_used() && code == MOSQ_ERR_ERRNO && error == 0;
    bool const is_nobody =
        code == MOSQ_ERR_EAI || (code == MOSQ_ERR_ERRNO && (error == ECONNREFUSED || error == ETIMEDOUT ||
                                                            error == EHOSTUNREACH || error == ENETUNREACH));
    attempt_failed(reason_text(is_plain_end ? MOSQ_ERR_CONN_LOST : code, error), code == MOSQ_ERR_TLS ? Failure::refusal
                                                                                 : is_nobody          ? Failure::away
                                                                                             : Failure::broken);
}

/// Of a failed handshake the library tells only here what it was.
void mqClient::on_library_log(int level, char const* text) {
    tls_->told(level, text);
}

bool mqClient::wait_before_retry(int seconds) {
    std::unique_lock lock(mutex_);
    return !changed_.wait_for(lock, std::chrono::seconds(seconds), [this] { return stop_; });
}

/// One line for a connection that never stood. Where one is lost, the line about that stands for what follows. But
/// where the broker is there, or back, and doesn't let in whom it should, somebody has to mend that: it is told once,
/// too.
void mqClient::attempt_failed(std::string const& reason, Failure failure) {
    bool log_it = false;
    {
        std::lock_guard const lock(mutex_);
        bool const is_refused = failure == Failure::refusal && access_.is_used();
        log_it = !failure_logged_ || (is_refused && !refusal_logged_);
        failure_logged_ = true;
        refusal_logged_ = refusal_logged_ || (log_it && failure != Failure::away);
        attempt_failed_ = true;
    }
    changed_.notify_all();
    if (log_it) {
        global_logf(lmtError, "MQTT : %s : нет соединения с брокером %s:%d : %s. Попытки продолжаются.", identity_,
                    host_, port_, reason);
    }
}

void mqClient::connection_lost() {
    bool was_connected = false;
    bool stopping = false;
    {
        std::lock_guard const lock(mutex_);
        was_connected = std::exchange(connected, false);
        stopping = is_leaving_;
        if (was_connected) {
            since_ = Clock::now();
            failure_logged_ = true;  // one line for the change of state: failed attempts add none
        }
    }
    changed_.notify_all();
    if (was_connected) {
        global_logf(stopping ? lmtInfo : lmtError, "MQTT : %s : соединение с брокером %s:%d завершено.", identity_,
                    host_, port_);
    }
}

void mqClient::on_connect(int code) {
    if (code != 0) {
        std::string const reason = access_.mqtt_5 ? mosquitto_reason_string(code) : mosquitto_connack_string(code);
        attempt_failed(reason, Failure::refusal);
        return;
    }
    {
        std::lock_guard const lock(mutex_);
        // Under one lock with the flag: whoever takes the entry sees the connection, and whoever sees the connection
        // finds the entry. A worker that took it ahead of the flag would subscribe to nothing, for good.
        queue_->Push(std::make_unique<xCommon::svMessage>(xCommon::svMessage::connected));
        connected = true;
        missed_.clear();
        miss_logged_ = false;
        failure_logged_ = false;
        refusal_logged_ = false;
        stall_logged_ = false;
        last_progress_ = Clock::now();
    }
    changed_.notify_all();
    global_logf(lmtInfo, "MQTT : %s : соединение с брокером %s:%d установлено.", identity_, host_, port_);
    if (!presence_topic_.empty()) {
        tell_presence();
        mosquitto_subscribe(client_.get(), nullptr, presence_topic_.c_str(), 1);
    }
}

void mqClient::on_disconnect(int /*code*/) {
    connection_lost();
}

void mqClient::on_publish(int id) {
    {
        std::lock_guard const lock(mutex_);
        auto const entry = waiting_.find(id);
        if (entry == waiting_.end()) {
            early_.insert(id);
            return;
        }
        // A message of QoS 0 has only left this machine, which says nothing about the broker.
        if (entry->second > 0) {
            last_progress_ = Clock::now();
        }
        waiting_.erase(entry);
        size_t const under_way = waiting_.size() + outbox_.size();
        if (under_way < stall_count) {
            stall_logged_ = false;
        }
        if (under_way + 1 != waiting_limit) {
            return;
        }
    }
    changed_.notify_all();
}

void mqClient::on_subscribe(int /*id*/, int count, int const* granted) {
    constexpr int refused = 0x80;  // and above, where there are reasons
    if (std::any_of(granted, granted + count, [](int code) { return code >= refused; })) {
        global_logf(lmtError, "MQTT : %s : брокер отказал в подписке.", identity_);
    }
}

/// A client can't refuse a message, so a large one has come whole already; what counts is that it goes no further.
void mqClient::on_message(mosquitto_message const* message) {
    if (message->payloadlen > payload_limit) {
        global_logf(lmtError, "MQTT : %s : сообщение отброшено : топик '%s' : размер %d байт.", identity_,
                    message->topic, message->payloadlen);
        return;
    }
    std::string payload;
    if (message->payloadlen > 0) {
        payload.assign(static_cast<char const*>(message->payload), static_cast<size_t>(message->payloadlen));
    }
    if (!presence_topic_.empty() && presence_topic_ == message->topic) {
        // Behind a power cut the broker finds out that the former connection is gone when this one stands already.
        if (payload == absent) {
            tell_presence();
        }
        return;
    }
    queue_->Push(std::make_unique<mqMessage>(message->topic, std::move(payload)));
}

/// False when the broker has stalled. At the limit of MQTT's message numbers a broker that answers is waited for.
bool mqClient::has_room(std::unique_lock<std::mutex>& lock) {
    auto const under_way = [this] { return waiting_.size() + outbox_.size(); };
    if (under_way() >= waiting_limit) {
        changed_.wait_until(lock, last_progress_ + stall_time,
                            [&] { return under_way() < waiting_limit || !connected; });
    }
    bool const stalled =
        under_way() >= waiting_limit || (under_way() >= stall_count && Clock::now() - last_progress_ > stall_time);
    if (!stalled) {
        return connected;
    }
    if (!std::exchange(stall_logged_, true)) {
        lock.unlock();
        global_logf(lmtError, "MQTT : %s : брокер не подтверждает сообщения, публикация приостановлена.", identity_);
    }
    return false;
}

bool mqClient::publish(std::string const& topic, std::string const& payload, int qos, bool retain) {
    int const code = mosquitto_pub_topic_check(topic.c_str());
    if (code != MOSQ_ERR_SUCCESS) {
        log_unpublished(topic, code);
        return false;
    }
    {
        std::unique_lock lock(mutex_);
        if (!has_room(lock)) {
            return false;
        }
        if (is_awake_) {
            outbox_.push_back({topic, payload, qos, retain});
            return true;
        }
        is_awake_ = true;
    }
    std::lock_guard const lock(client_lock_);
    bool const is_sent = get_bool(connected) && send({topic, payload, qos, retain});
    if (!is_sent) {
        std::lock_guard const state_lock(mutex_);
        is_awake_ = false;
    }
    return is_sent;
}

/// Under `client_lock_`.
bool mqClient::send(Outgoing const& message) {
    int id = 0;
    int const code =
        mosquitto_publish(client_.get(), &id, message.topic.c_str(), static_cast<int>(message.payload.size()),
                          message.payload.data(), message.qos, message.retain);
    if (code != MOSQ_ERR_SUCCESS) {
        if (code != MOSQ_ERR_NO_CONN && code != MOSQ_ERR_CONN_LOST) {
            log_unpublished(message.topic, code);
        }
        return false;
    }
    std::lock_guard const lock(mutex_);
    if (early_.erase(id) == 0) {
        if (waiting_.empty()) {
            last_progress_ = Clock::now();
        }
        waiting_[id] = message.qos;
    }
    return true;
}

/// From here on publish() leaves its messages to the rounds.
bool mqClient::is_under_way() {
    std::lock_guard const lock(mutex_);
    bool const is_idle = std::exchange(is_idle_, false);
    bool const can_send = !outbox_.empty() && waiting_.size() < send_ahead;
    bool const goes_on = can_send || (!is_idle && !waiting_.empty());
    // What else lies in the outbox waits for acknowledgements, which wake this thread.
    is_awake_ = goes_on || !outbox_.empty();
    return goes_on;
}

/// What came in the last millisecond, in one go: a wake-up of this thread or of the broker for each message would cost
/// more than all that is done with it.
int mqClient::round() {
    int const fd = mosquitto_socket(client_.get());
    set_cork(fd, 1);
    is_idle_ = send_outbox(send_ahead) == 0;
    int code = MOSQ_ERR_SUCCESS;
    int bytes = 0;
    for (int turn = 0; turn < reads_a_round && ioctl(fd, FIONREAD, &bytes) == 0 && bytes > 0; ++turn) {
        is_idle_ = false;
        // One packet at a call: it takes the end of the pipe by which the library wakes itself for the end of the data.
        for (int left = std::min(bytes / least_packet + 1, packets_a_read); left > 0 && code == MOSQ_ERR_SUCCESS;
             --left) {
            code = mosquitto_loop_read(client_.get(), 1);
        }
        if (code != MOSQ_ERR_SUCCESS) {
            return code;
        }
    }
    code = mosquitto_loop_write(client_.get(), 1);
    if (code != MOSQ_ERR_SUCCESS) {
        return code;  // the library has closed the socket
    }
    set_cork(fd, 0);
    return mosquitto_loop_misc(client_.get());
}

/// Hands over so many that `most` are under way, and gives their number. The library takes several times the memory for
/// one.
size_t mqClient::send_outbox(size_t most) {
    std::lock_guard const lock(client_lock_);
    std::vector<Outgoing> messages;
    {
        std::lock_guard const state_lock(mutex_);
        size_t const room = most - std::min(most, waiting_.size());
        auto const end = outbox_.begin() + static_cast<std::ptrdiff_t>(std::min(room, outbox_.size()));
        messages.assign(std::make_move_iterator(outbox_.begin()), std::make_move_iterator(end));
        outbox_.erase(outbox_.begin(), end);
    }
    for (Outgoing const& message : messages) {
        send(message);
    }
    return messages.size();
}

bool mqClient::subscribe(std::vector<subsItem> const& items) {
    bool all_taken = true;
    for (subsItem const& item : items) {
        if (!get_bool(connected)) {
            return false;
        }
        int code = MOSQ_ERR_SUCCESS;
        {
            std::lock_guard const lock(client_lock_);
            code = mosquitto_subscribe(client_.get(), nullptr, item.topic.c_str(), item.qos);
        }
        all_taken = all_taken && code == MOSQ_ERR_SUCCESS;
        if (code == MOSQ_ERR_SUCCESS) {
            std::lock_guard const lock(mutex_);
            topics_.insert(item.topic);
        } else if (code == MOSQ_ERR_NO_CONN || code == MOSQ_ERR_CONN_LOST || code == MOSQ_ERR_NOMEM) {
            keep_for_later(item, mosquitto_strerror(code));
        } else {
            global_logf(lmtError, "MQTT : подписка на топик '%s' невозможна : %s", item.topic,
                        mosquitto_strerror(code));
        }
    }
    return all_taken;
}

/// A connection that has really gone takes the list with it: the next one subscribes everything.
void mqClient::keep_for_later(subsItem const& item, char const* reason) {
    bool log_it = false;
    {
        std::lock_guard const lock(mutex_);
        missed_.push_back(item);
        log_it = !std::exchange(miss_logged_, true);
    }
    if (log_it) {
        global_logf(lmtError, "MQTT : %s : подписка на топик '%s' не удалась : %s. Будет повторена.", identity_,
                    item.topic, reason);
    }
}

void mqClient::resubscribe() {
    std::vector<subsItem> items;
    {
        std::lock_guard const lock(mutex_);
        if (missed_.empty() || !connected) {
            return;
        }
        items.swap(missed_);
    }
    subscribe(items);
}

void mqClient::unsubscribe(std::string const& topic) {
    {
        std::lock_guard const lock(client_lock_);
        mosquitto_unsubscribe(client_.get(), nullptr, topic.c_str());
    }
    std::lock_guard const lock(mutex_);
    topics_.erase(topic);
    std::erase_if(missed_, [&topic](subsItem const& item) { return item.topic == topic; });
}

void mqClient::unsubscribe() {
    std::set<std::string> topics;
    {
        std::lock_guard const lock(mutex_);
        topics = topics_;
        missed_.clear();
    }
    for (std::string const& topic : topics) {
        unsubscribe(topic);
    }
}

bool mqClient::get_bool(bool const& field) const {
    std::lock_guard const lock(mutex_);
    return field;
}

long long mqClient::get_i64(long long const& field) {
    std::lock_guard const lock(mutex_);
    stamp = connected ? 0 : std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - since_).count();
    return field;
}

bool mqClient::wait_connected(int wait_ms) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::milliseconds(wait_ms), [this] { return connected || attempt_failed_; });
    return connected;
}

std::unique_ptr<mqClient> mqUtils::mqActivate(std::string const& host, int port, xCommon::SyncVector* queue,
                                              std::string const& name, bool clean_session, int keep_alive_s) {
    auto client = std::make_unique<mqClient>(clean_session, queue, name, keep_alive_s);
    // Its caller makes a new client for each try, and has a line of its own for one that fails.
    if (!client->connect(host, port, true) || !client->wait_connected(1000)) {
        return nullptr;
    }
    return client;
}

bool mqUtils::is_topic(std::string const& topic) {
    return mosquitto_pub_topic_check(topic.c_str()) == MOSQ_ERR_SUCCESS &&
           mosquitto_validate_utf8(topic.data(), static_cast<int>(topic.size())) == MOSQ_ERR_SUCCESS;
}

mqMessage* mqUtils::mqCast(xCommon::svMessage* entry, std::string const& name) {
    auto* message = dynamic_cast<mqMessage*>(entry);
    if (message == nullptr) {
        global_logf(xCommon::lmtTrace, "%s : запись очереди не является сообщением.", name);
    }
    return message;
}

}  // namespace xMQ
