#include "config/broker.h"

#include <algorithm>
#include <span>
#include <utility>

#include <sys/stat.h>

#include "config/keys.h"
#include "foundation/jutils.h"
#include "foundation/mq_client.h"
#include "foundation/xexception.h"

using xCommon::jUtils;
using xCommon::lmtError;
using xCommon::xException;

namespace {

using keys::Type;

constexpr keys::Key address_table[] = {
    {"url", Type::text, "127.0.0.1", "host name or address", "имя или адрес узла"},
    {"port", Type::integer, "0", "the broker's port; 1883 has to be written", "порт брокера; 1883 надо указать"},
};
constexpr keys::Key peer_table[] = {
    {"url", Type::text, "127.0.0.1", "host name or address", "имя или адрес узла"},
    {"port", Type::integer, "0", "the peer's port", "порт узла"},
};
constexpr char const* protocols[] = {"3.1.1", "5"};
constexpr char const* tls_versions[] = {"1.2", "1.3"};
constexpr keys::Key access_table[] = {
    {"user", Type::text, "", "name by which the broker lets in", "имя для входа на брокер"},
    {"password", Type::text, "", "its password, read only with `user`", "его пароль, читается только вместе с `user`"},
    {"password_file", Type::text, "", "a file whose first line is the password, in place of `password`",
     "файл, первая строка которого служит паролем вместо `password`"},
    {"tls", Type::object, "", "the connection is encrypted by TLS; an empty object does",
     "соединение шифруется по TLS; достаточно пустого объекта"},
    {"protocol", Type::text, "3.1.1", "version of MQTT", "версия MQTT", keys::Overlay::ignored, nullptr, "", protocols},
    {"status_topic", Type::text, "", "head of the topics that tell which ports and lines are there",
     "начало топиков, сообщающих, какие порты и линии на месте"},
    {"availability", Type::flag, "false", "each device's presence is published",
     "публикуется доступность каждого устройства"},
    {"age", Type::flag, "false", "each port publishes how long ago its devices have answered",
     "каждый порт публикует, как давно отвечали его устройства"},
    {"discovery", Type::object, "", "messages by which a building automation system finds the parameters",
     "сообщения, по которым система автоматизации находит параметры"},
};
constexpr keys::Key tls_table[] = {
    {"ca_file", Type::text, "", "PEM file of the authorities that are trusted; otherwise those of the system",
     "файл PEM доверенных центров сертификации; иначе системные"},
    {"ca_path", Type::text, "", "folder of such files, named by their hashes",
     "папка таких файлов, названных по хешам"},
    {"cert_file", Type::text, "", "PEM file of the gateway's own certificate",
     "файл PEM собственного сертификата шлюза"},
    {"key_file", Type::text, "", "PEM file of its key; otherwise it stands in `cert_file`",
     "файл PEM его ключа; иначе ключ берётся из `cert_file`"},
    {"min_version", Type::text, "1.2", "the oldest version of TLS that is accepted", "наименьшая допустимая версия TLS",
     keys::Overlay::ignored, nullptr, "", tls_versions},
    {"insecure", Type::flag, "false", "true: the certificate may be another host's",
     "true: сертификат может быть выдан на другое имя"},
};
constexpr keys::Key discovery_table[] = {
    {"prefix", Type::text, "homeassistant", "first level of the topics", "первый уровень топиков"},
    {"node", Type::text, keys::required, "name of the gateway, one level of a topic", "имя шлюза, один уровень топика"},
};

[[maybe_unused]] bool const described =
    CBFac::key_map().emplace("mqtt", keys::Tables{address_table, access_table}).second &&
    CBFac::key_map().emplace("tcp", keys::Tables{peer_table}).second &&
    CBFac::key_map().emplace("mqtt.tls", keys::Tables{tls_table}).second &&
    CBFac::key_map().emplace("mqtt.discovery", keys::Tables{discovery_table}).second;

bool is_readable_by_all(std::string const& path) {
    struct stat about {};
    return stat(path.c_str(), &about) == 0 && (about.st_mode & S_IROTH) != 0;
}

}  // namespace

tcp_set::tcp_set(Json::Value const& node, std::string const& default_url, int default_port) {
    if (!node.isObject() || node.empty()) {
        throw xException("tcp_set : конфиг не содержит настроек TCP/MQTT");
    }
    try {
        url = jUtils::get_string(node, "url", default_url);
        port = jUtils::get_int(node, "port", default_port);
    } catch (std::exception const& e) {
        throw xCommon::xExceptionf("tcp_set : %s", e.what());
    }
}

tcp_set tcp_set::parse(Json::Value const& root) {
    tcp_set result;
    result.url = "127.0.0.1";
    result.port = 1883;
    if (jUtils::has(root, "mqtt")) {
        // An `mqtt` object without `port` gives port 0, not 1883. Installations have been set up around it.
        return {root["mqtt"], "127.0.0.1", 0};
    }
    if (jUtils::has(root, "mqtt_url")) {
        result.url = jUtils::get_string(root, "mqtt_url", "");
        result.port = jUtils::get_int(root, "mqtt_port", 1883);
    }
    return result;
}

/// Reads keys of one object below `mqtt`.
class broker_set::KeyReader {
 public:
    KeyReader(Json::Value const& object, std::string path, xCommon::LogItem const* teller)
        : object_(object), path_(std::move(path)), teller_(teller) {}

    std::string text(char const* key, std::string const& fallback = "") const {
        return value(key, fallback, &Json::Value::isString, &Json::Value::asString);
    }
    bool flag(char const* key) const { return value(key, false, &Json::Value::isBool, &Json::Value::asBool); }
    /// Place of one of the words; the first one is the default.
    int word(char const* key, std::span<char const* const> words) const {
        std::string const held = text(key, words.front());
        int const place = keys::place_of(held, words);
        if (place < 0) {
            tell(key, "недопустимое значение : принято " + std::string(words.front()));
        }
        return std::max(place, 0);
    }
    bool has(char const* key) const { return jUtils::has(object_, key); }
    /// What isn't an object reads as an empty one.
    KeyReader inner(char const* key, char const* otherwise) const {
        Json::Value const& held = jUtils::at(object_, key);
        if (!held.isObject()) {
            tell(key, otherwise);
        }
        return {held.isObject() ? held : Json::Value::nullSingleton(), path_ + "." + key, teller_};
    }
    void tell(char const* key, std::string const& what) const {
        if (teller_ != nullptr) {
            teller_->Logf(lmtError, "ключ '%s.%s' : %s.", path_, key, what);
        }
    }

    static constexpr char wrong_type[] = "неверный тип значения : ключ пропущен";

 private:
    template <typename Value>
    Value value(char const* key, Value fallback, bool (Json::Value::*is_fit)() const,
                Value (Json::Value::*held)() const) const {
        Json::Value const& found = jUtils::at(object_, key);
        if (!has(key)) {
            return fallback;
        }
        if (!(found.*is_fit)()) {
            tell(key, wrong_type);
            return fallback;
        }
        return (found.*held)();
    }

    Json::Value const& object_;
    std::string path_;
    xCommon::LogItem const* teller_;
};

broker_set::broker_set(Json::Value const& mqtt, xCommon::LogItem const* teller) {
    if (!mqtt.isObject()) {
        return;
    }
    KeyReader const reader(mqtt, "mqtt", teller);
    read_access(reader);
    read_tls(reader);
    read_status_topic(reader);
    availability = reader.flag("availability");
    age = reader.flag("age");
    read_discovery(reader);
}

void broker_set::read_access(KeyReader const& reader) {
    access.user = reader.text("user");
    access.password = reader.text("password");
    access.password_file = reader.text("password_file");
    access.mqtt_5 = reader.word("protocol", protocols) == 1;
    if (!access.password.empty() && !access.password_file.empty()) {
        reader.tell("password", "пропущен : пароль берётся из 'password_file'");
        access.password.clear();
    }
    if (access.user.empty() && (!access.password.empty() || !access.password_file.empty())) {
        // The protocol has no password without a name.
        reader.tell("user", "не указан : пароль не передаётся");
    }
    if (is_readable_by_all(access.password_file)) {
        reader.tell("password_file", "файл доступен для чтения всем : " + access.password_file);
    }
}

void broker_set::read_tls(KeyReader const& reader) {
    if (!reader.has("tls")) {
        return;
    }
    // Also where it can't be read: a connection that was meant to be encrypted is never a plain one.
    KeyReader const inner = reader.inner("tls", "неверный тип значения : TLS с настройками по умолчанию");
    xMQ::Tls tls;
    tls.ca_file = inner.text("ca_file");
    tls.ca_path = inner.text("ca_path");
    tls.cert_file = inner.text("cert_file");
    tls.key_file = inner.text("key_file");
    tls.only_1_3 = inner.word("min_version", tls_versions) == 1;
    tls.insecure = inner.flag("insecure");
    if (tls.insecure) {
        inner.tell("insecure", "имя узла в сертификате брокера не проверяется (insecure)");
    }
    access.tls = tls;
}

void broker_set::read_status_topic(KeyReader const& reader) {
    std::string topic = reader.text("status_topic");
    if (topic.empty()) {
        return;
    }
    if (topic.ends_with('/')) {
        topic.pop_back();
    }
    if (topic.empty() || !xMQ::mqUtils::is_topic(topic)) {
        reader.tell("status_topic", "топик непригоден для публикации : состояние не публикуется");
        return;
    }
    status_topic = topic;
}

void broker_set::read_discovery(KeyReader const& reader) {
    if (!reader.has("discovery")) {
        return;
    }
    KeyReader const inner = reader.inner("discovery", KeyReader::wrong_type);
    discovery_set wanted;
    wanted.prefix = inner.text("prefix", wanted.prefix);
    wanted.node = inner.text("node");
    if (wanted.prefix.ends_with('/')) {
        wanted.prefix.pop_back();
    }
    if (wanted.node.empty()) {
        inner.tell("node", "не указан : сообщения обнаружения не публикуются");
    } else if (!xMQ::mqUtils::is_topic(wanted.prefix)) {
        inner.tell("prefix", "недопустимое значение : сообщения обнаружения не публикуются");
    } else {
        discovery = wanted;
    }
}

std::string broker_set::state_topic(std::string const& port) const {
    std::string const topic = status_topic + "/port/" + port;
    return !status_topic.empty() && xMQ::mqUtils::is_topic(topic) ? topic : "";
}

std::string broker_set::line_topic(std::string const& port) const {
    std::string const topic = state_topic(port);
    return topic.empty() ? "" : topic + "/line";
}
