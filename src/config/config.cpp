#include "config/config.h"

#include "config/constants.h"
#include "config/cport.h"
#include "config/keys.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

using xCommon::jUtils;
using xCommon::lmtError;
using xCommon::xException;

namespace {

using keys::Type;

/// No readers in these two: what holds the values is no node, and one key decides which of the others are read.
constexpr keys::Key root_table[] = {
    {"mqtt", Type::object, "", "the broker", "брокер"},
    {"mqtt_url", Type::text, "127.0.0.1", "the broker's host, read only when there is no `mqtt`",
     "узел брокера, читается только без `mqtt`"},
    {"mqtt_port", Type::integer, "1883", "its port, read only together with `mqtt_url`",
     "его порт, читается только вместе с `mqtt_url`"},
    {"log", Type::object, "", "the log", "журнал"},
    {"log_maxsize", Type::integer, "5", "the log's size, read only when there is no `log`",
     "размер журнала, читается только без `log`", keys::Overlay::ignored, nullptr, "MiB"},
    {"log_debug", Type::flag, "false", "debug detail, read only together with `log_maxsize`",
     "отладочные подробности, читается только вместе с `log_maxsize`"},
    {"log_quiet", Type::flag, "false", "`quiet` of the log, read only when there is no `log`",
     "`quiet` журнала, читается только без `log`"},
    {"ports", Type::list, keys::required, "the ports; one must be usable at least",
     "порты; хотя бы один должен быть пригоден"},
};
constexpr keys::Key log_table[] = {
    {"max_size", Type::integer, "5", "the log's size", "размер журнала", keys::Overlay::ignored, nullptr, "MiB"},
    {"is_debug", Type::flag, "false", "debug detail", "отладочные подробности"},
    {"quiet", Type::flag, "false", "exchanges that succeed are left out", "успешные обмены не записываются"},
};

[[maybe_unused]] bool const described = CBFac::key_map().emplace("root", keys::Tables{root_table}).second &&
                                        CBFac::key_map().emplace("log", keys::Tables{log_table}).second;

}  // namespace

log_set::log_set(Json::Value const& root, int default_size, bool /*default_debug*/) {
    if (jUtils::has(root, "log")) {
        if (!root["log"].isObject()) {
            throw xException("log_set : ключ 'log' не является объектом.");
        }
        max_size = jUtils::get_int(root["log"], "max_size", default_size);
        is_debug = jUtils::get_bool(root["log"], "is_debug", false);
        quiet = jUtils::get_bool(root["log"], "quiet", false);
    }
}

log_set log_set::parse(Json::Value const& root) {
    if (jUtils::has(root, "log")) {
        return {root, 5, false};
    }
    log_set result;
    if (jUtils::has(root, "log_maxsize")) {
        result.max_size = jUtils::get_int(root, "log_maxsize", 5);
        result.is_debug = jUtils::get_bool(root, "log_debug", false);
    }
    result.quiet = jUtils::get_bool(root, "log_quiet", false);
    return result;
}

void Config::build(Json::Value& root) {
    mqtt = tcp_set::parse(root);
    broker = broker_set(jUtils::at(root, "mqtt"), this);
    log = log_set::parse(root);
    ports.Load(nullptr, root, "ports", suffix_cport, "");
    for (auto const& node : ports.children) {
        if (auto* port = dynamic_cast<CPort*>(node.get())) {
            port->cfg = this;
        }
    }
    report_clashing_identities();
}

/// A client's identity is the port's name, "#" and a random part, cut at the limit of MQTT: names that fill it leave
/// nothing random, and the broker throws out one of two clients of the same identity in turn.
void Config::report_clashing_identities() const {
    std::map<std::string, std::string> seen;
    for (auto const& node : ports.children) {
        std::string const whole = node->name + "#";
        if (!node->enabled || whole.size() < identity_limit) {
            continue;
        }
        std::string const identity = xCommon::xString::CutUtf8(whole, identity_limit);
        auto const [first, is_new] = seen.emplace(identity, node->name);
        if (!is_new) {
            Logf(lmtError, "порты '%s' и '%s' : одинаковый идентификатор клиента MQTT : %s.", first->second, node->name,
                 identity);
        }
    }
}

std::unique_ptr<Config> Config::guarded(std::function<void(Config&)> const& step) {
    std::unique_ptr<Config> config(new Config);
    try {
        step(*config);
    } catch (std::exception const& e) {
        config->Logf(lmtError, "exception : %s", e.what());
        return nullptr;
    }
    return config;
}

Config* Config::Load(Json::Value& root) {
    return guarded([&root](Config& config) { config.build(root); }).release();
}

Config* Config::Load(std::string const& path) {
    return guarded([&path](Config& config) {
               Json::Value root = jUtils::Load(path);
               if (root.empty()) {
                   throw xException("пустой файл конфигурации.");
               }
               config.build(root);
               if (config.ports.children.empty()) {
                   throw xException("список портов пуст.");
               }
           })
        .release();
}
