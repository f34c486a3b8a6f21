#include "gpio/config.h"

#include <algorithm>
#include <set>

#include "config/constants.h"
#include "config/cparam.h"
#include "config/keys.h"
#include "config/load_scope.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace xgpio {

using xCommon::jUtils;
using xCommon::lmtError;
using xCommon::LogItem;
using xCommon::xException;
using xCommon::xExceptionf;

namespace {

void read_name(LogItem& node, Json::Value const& json, keys::Key const& key) {
    node.name = jUtils::get_string(json, key.name, "");
    if (node.name.empty()) {
        throw xException(key.missing);
    }
    Utils::tell_unusable_name(node, node.name);
}

void read_gpio(LogItem& node, Json::Value const& json, keys::Key const& key) {
    keys::of<&channel_t::gpio>.read(node, json, key);
    if (keys::member<&channel_t::gpio>(node) < key.least) {
        throw xExceptionf(xCommon::RuntimeFormat(key.missing), node.name);
    }
}

/// The place of a text in the words of its key.
int place_of(std::string const& text, LogItem const& node, keys::Key const& key) {
    int const place = keys::place_of(text, key.words);
    if (place < 0) {
        throw xExceptionf("#%s : параметр '%s' имеет неверное значение : %s.", node.name, key.name, text);
    }
    return place;
}

/// The words are in the order of their codes. An empty one counts as none.
template <auto Member, int First>
void read_word(LogItem& node, Json::Value const& json, keys::Key const& key) {
    std::string const text = jUtils::get_string(json, key.name, "");
    if (!text.empty()) {
        keys::member<Member>(node) = First + place_of(text, node, key);
    }
}

void read_edge(LogItem& node, Json::Value const& json, keys::Key const& key) {
    std::string& edge = keys::member<&channel_t::edge>(node);
    edge = jUtils::get_string(json, key.name, key.fallback);
    place_of(edge, node, key);
}

void read_scale(LogItem& node, Json::Value const& json, keys::Key const& key) {
    float& scale = keys::member<&channel_t::scale>(node);
    scale = static_cast<float>(jUtils::get_double(json, key.name, scale));
}

void read_mqtt(LogItem& node, Json::Value const& json, keys::Key const& key) {
    Json::Value const& mqtt = jUtils::at(json, key.name);
    auto& config = static_cast<config_t&>(node);
    config.url = jUtils::get_string(mqtt, "url", config.url);
    config.port = jUtils::get_int(mqtt, "port", config.port);
    config.broker = broker_set(mqtt, nullptr);  // what is wrong with it the ports' tree has told
}

void read_wto(LogItem& node, Json::Value const& json, keys::Key const& key) {
    int& wto = keys::member<&config_t::wto>(node);
    int const asked = jUtils::get_int(json, key.name, wto);
    if (asked < key.least) {
        node.Logf(lmtError, "wto = %d : недопустимое значение, принято %d.", asked, wto);
    } else {
        wto = asked;
    }
}

using keys::Overlay;
using keys::Type;

constexpr char const* types[] = {"base", "electro", "water"};
constexpr char const* directions[] = {"input", "output"};
char const* const edges[] = {gpio_edge_none.c_str(), gpio_edge_both.c_str(), gpio_edge_rising.c_str(),
                             gpio_edge_falling.c_str()};

constexpr keys::Key channel_table[] = {
    {"name", keys::Value(Type::text, read_name), "", "the control in topics", "имя в топиках", Overlay::ignored,
     "channel::ctor : не указано имя канала (name)."},
    {"gpio", keys::Value(Type::integer, read_gpio), "", "the kernel's number of the line, 1 or more",
     "номер линии в ядре, от 1", Overlay::ignored, "%s : channel::ctor : не указан номер прерывания канала (gpio).", "",
     keys::any_text, 1},
    {"type", keys::Value(Type::text, read_word<&channel_t::type, type_base>), "base",
     "`base`: plain input or output; `electro`, `water`: pulse counter, both work alike",
     "`base`: простой вход или выход; `electro`, `water`: счётчик импульсов, работают одинаково", Overlay::ignored,
     nullptr, "", types},
    {"enabled", keys::of<&channel_t::enabled>, "true", "has no effect", "ни на что не влияет"},
    {"inverted", keys::of<&channel_t::inverted>, "false", "the level is turned over, both ways",
     "уровень инвертируется, в обе стороны"},
    {"direction", keys::Value(Type::text, read_word<&channel_t::direction, direction_input>), "input",
     "input or output", "вход или выход", Overlay::ignored, nullptr, "", directions},
    {"edge", keys::Value(Type::text, read_edge), "none", "which edges raise an interrupt",
     "какие фронты вызывают прерывание", Overlay::ignored, nullptr, "", edges},
    {"debounce", keys::of<&channel_t::debounce>, "0", "time from the first sign of a change to the look that counts",
     "время от первого признака изменения до решающего чтения", Overlay::ignored, nullptr, "ms"},
    {"poll_interval", keys::of<&channel_t::poll_interval>, "1", "has no effect", "ни на что не влияет"},
    {"scale", keys::Value(Type::number, read_scale), "1", "counters: what one pulse adds",
     "счётчики: сколько добавляет импульс"},
};

constexpr char empty_document[] = "config : пустой файл конфигурации.";
constexpr char no_channels[] = "config : в конфигурационно0м файле не задано ни одного канала.";

constexpr keys::Key table[] = {
    {"name", keys::Value(Type::text, read_name), "", "second piece of every topic", "вторая часть всех топиков",
     Overlay::ignored, "config : не указано имя драйвера."},
    {"mqtt", keys::Value(Type::object, read_mqtt), "", "the broker, as that of ports; `port` is 1883 if it isn't there",
     "брокер, как у портов; `port` по умолчанию 1883"},
    {"wto", keys::Value(Type::integer, read_wto), "500",
     "how long the loop waits for interrupts; also the interval of polling and of `debounce`",
     "сколько цикл ждёт прерываний; также период опроса и проверки `debounce`", Overlay::ignored, nullptr, "ms",
     keys::any_text, 1},
    {"channels", Type::list, "", "the lines", "линии", Overlay::ignored, no_channels},
};

[[maybe_unused]] bool const described = CBFac::key_map().emplace("gpio", keys::Tables{table}).second &&
                                        CBFac::key_map().emplace("gpio.channel", keys::Tables{channel_table}).second;

}  // namespace

channel_t::channel_t(LogItem* parent, Json::Value const& node) : LogItem(parent) {
    if (node.empty()) {
        throw xException("channel::ctor : пустой узел канала.");
    }
    keys::read(channel_table, *this, node);
    precision = CParam::scale_precision(scale);
}

config_t::config_t(Json::Value const& root) : LogItem(nullptr) {
    if (root.empty()) {
        throw xException(empty_document);
    }
    keys::read(table, *this, root);
    load_channels(jUtils::at(root, "channels"));
}

void config_t::load_channels(Json::Value const& nodes) {
    if (!nodes.isArray() || nodes.empty()) {
        throw xException(no_channels);
    }
    std::set<std::string> names;
    std::set<int> numbers;
    for (Json::Value const& node : nodes) {
        LoadScope scope(node);
        scope.class_key = "gpio.channel";
        std::string channel_name = "noname";
        try {
            channel_name = jUtils::get_string(node, "name", channel_name);
            int const number = jUtils::get_int(node, "gpio", 0);
            if (names.contains(channel_name)) {
                Logf(lmtError, "канал с именем '%s' уже зарегистрирован. Канал будет пропущен.", channel_name);
                continue;
            }
            if (numbers.contains(number)) {
                Logf(lmtError, "канал с номером '%d' уже зарегистрирован. Канал будет пропущен.", number);
                continue;
            }
            // Ahead of the channel: one that then proves faulty still keeps others from its name and number.
            names.insert(channel_name);
            numbers.insert(number);
            channels.push_back(std::make_unique<channel_t>(this, node));
        } catch (std::exception const& e) {
            Logf(lmtError, "ошибка при обработке канала '%s' : %s. Канал будет пропущен.", channel_name, e.what());
        }
    }
}

std::unique_ptr<config_t> config_t::Load(Json::Value const& root) {
    LoadScope scope(root);
    scope.class_key = "gpio";
    try {
        return std::unique_ptr<config_t>(new config_t(root));
    } catch (std::exception const& e) {
        xCommon::global_logf(lmtError, "ошибка при парсинге конфигурационного файла : %s.", e.what());
        return nullptr;
    }
}

std::unique_ptr<config_t> config_t::Load(std::string const& file) {
    if (file.empty()) {
        throw xException("CFG : имя конфигурационного файла пустое.");
    }
    Json::Value const root = jUtils::Load(file);
    if (root.empty()) {
        throw xException(empty_document);
    }
    return Load(root);
}

}  // namespace xgpio
