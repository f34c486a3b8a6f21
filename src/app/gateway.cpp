#include "app/gateway.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <fstream>
#include <iterator>
#include <utility>

#include <sys/stat.h>

#include "config/constants.h"
#include "foundation/jutils.h"
#include "foundation/sha256.h"
#include "foundation/xlog.h"
#include "gpio/config.h"
#include "runtime/port_client.h"
#include "topics/topic_list.h"

namespace {

constexpr char name[] = "ostrand";
constexpr int keep_alive_s = 60;
constexpr int qos = 1;
/// Messages in one turn, either way: thousands at once would be copied as often for the library.
constexpr size_t portion = 500;

/// Of a file as it was loaded.
std::string about_file(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    std::string const bytes{std::istreambuf_iterator<char>(file), {}};
    struct stat about {};
    stat(path.c_str(), &about);
    tm utc{};
    gmtime_r(&about.st_mtime, &utc);
    std::array<char, sizeof("2026-11-24T01:02:03Z")> time{};
    size_t const length = std::strftime(time.data(), time.size(), "%FT%TZ", &utc);

    Json::Value json;
    json["sha256"] = xCommon::sha256(bytes);
    json["time"] = std::string(time.data(), length);
    return xCommon::jUtils::Compact(json);
}

/// What is wrong with it the GPIO driver tells at its start.
std::unique_ptr<xgpio::config_t> load_gpio(Json::Value const& gpio) {
    xCommon::LogSilence const silence;
    return gpio.isNull() ? nullptr : xgpio::config_t::Load(gpio);
}

/// What is wrong with the ports is told when they are started.
std::vector<RetainedMessage> find_messages(Config const& config, xgpio::config_t const* gpio) {
    if (!config.broker.discovery) {
        return {};
    }
    xCommon::LogSilence const silence;
    return discovery_messages(list_topics(config, gpio, IdlePorts(config)), config.broker);
}

}  // namespace

std::unique_ptr<Gateway> Gateway::make(Config const& config, Json::Value const& gpio, std::string const& path) {
    std::string const& status = config.broker.status_topic;
    if (status.empty() && !config.broker.discovery) {
        return nullptr;
    }
    try {
        std::unique_ptr<xgpio::config_t> const channels = load_gpio(gpio);
        std::vector<RetainedMessage> messages = find_messages(config, channels.get());
        if (!status.empty()) {
            messages.push_back({status + "/version", program_version});
            messages.push_back({status + "/config", about_file(path)});
        }
        tcp_set address = config.mqtt;
        if (address.port == 0 && channels) {
            address.port = channels->port;  // its default is another one
        }
        return std::make_unique<Gateway>(config.broker, address, std::move(messages));
    } catch (std::exception const& e) {
        xCommon::global_logf(xCommon::lmtError, "сообщения о шлюзе не публикуются : %s.", e.what());
        return nullptr;
    }
}

Gateway::Gateway(broker_set const& broker, tcp_set const& address, std::vector<RetainedMessage> messages)
    : messages_(std::move(messages)),
      filter_(broker.discovery ? discovery_filter(*broker.discovery) : ""),
      next_(messages_.size()),
      client_(true, &queue_, random_identity(name), keep_alive_s) {
    std::ranges::sort(messages_, {}, &RetainedMessage::topic);
    client_.set_access(broker.access);
    client_.connect(address.url, address.port);
}

void Gateway::turn() {
    for (size_t taken = 0; taken < portion; ++taken) {
        std::unique_ptr<xCommon::svMessage> const entry(queue_.PopWait(0, false));
        if (!entry) {
            break;
        }
        take(*entry);
    }
    client_.resubscribe();
    publish_some();
}

void Gateway::take(xCommon::svMessage& entry) {
    if (entry.type == xCommon::svMessage::connected) {
        next_ = 0;
        is_listening_ = filter_.empty();
    } else if (auto const* const message = xMQ::mqUtils::mqCast(&entry, name)) {
        withdraw(*message);
    }
}

/// What lies on the broker of this gateway and is none of its messages was a former configuration's.
void Gateway::withdraw(xMQ::mqMessage const& message) {
    bool const is_mine = std::ranges::binary_search(messages_, message.topic, {}, &RetainedMessage::topic);
    if (!is_mine && !message.payload.empty()) {
        client_.publish(message.topic, "", qos, true);
    }
}

/// Goes on at the next turn, or anew at the next connection, where one can't be handed over.
void Gateway::publish_some() {
    for (size_t count = 0; count < portion && next_ < messages_.size(); ++count, ++next_) {
        if (!client_.publish(messages_[next_].topic, messages_[next_].payload, qos, true)) {
            return;
        }
    }
    if (next_ == messages_.size() && !is_listening_) {
        is_listening_ = true;
        client_.subscribe({{filter_, qos}});
    }
}
