#include "gpio/config.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <span>

#include "config/constants.h"
#include "config/cparam.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace xgpio {

using xCommon::jUtils;
using xCommon::lmtError;
using xCommon::xException;
using xCommon::xExceptionf;
using xCommon::xString;

namespace {

struct Word {
    char const* text;
    int code;
};

constexpr Word types[] = {{"base", type_base}, {"electro", type_electro}, {"water", type_water}};
constexpr Word directions[] = {{"input", direction_input}, {"output", direction_output}};

/// The code of the word under a key; `fallback` when there is none.
int code_of(std::string const& name, Json::Value const& node, char const* key, std::span<Word const> words,
            int fallback) {
    std::string const text = jUtils::get_string(node, key, "");
    if (text.empty()) {
        return fallback;
    }
    auto const* const row = std::find_if(words.data(), words.data() + words.size(),
                                         [&text](Word const& word) { return text == word.text; });
    if (row == words.data() + words.size()) {
        throw xExceptionf("#%s : параметр '%s' имеет неверное значение : %s.", name, key, text);
    }
    return row->code;
}

}  // namespace

channel_t::channel_t(xCommon::LogItem* parent, Json::Value const& node) : LogItem(parent) {
    if (node.empty()) {
        throw xException("channel::ctor : пустой узел канала.");
    }
    name = jUtils::get_string(node, "name", "");
    if (name.empty()) {
        throw xException("channel::ctor : не указано имя канала (name).");
    }
    gpio = jUtils::get_int(node, "gpio", gpio);
    if (gpio < 1) {
        throw xExceptionf("%s : channel::ctor : не указан номер прерывания канала (gpio).", name);
    }
    type = code_of(name, node, "type", types, type);
    enabled = jUtils::get_bool(node, "enabled", enabled);
    inverted = jUtils::get_bool(node, "inverted", inverted);
    direction = code_of(name, node, "direction", directions, direction);
    edge = jUtils::get_string(node, "edge", gpio_edge_none);
    std::string const edges[] = {gpio_edge_none, gpio_edge_both, gpio_edge_rising, gpio_edge_falling};
    if (std::find(std::begin(edges), std::end(edges), edge) == std::end(edges)) {
        throw xExceptionf("#%s : параметр 'edge' имеет неверное значение : %s.", name, edge);
    }
    debounce = jUtils::get_int(node, "debounce", debounce);
    poll_interval = jUtils::get_int(node, "poll_interval", poll_interval);
    scale = static_cast<float>(jUtils::get_double(node, "scale", scale));
    precision = CParam::scale_precision(scale);
}

config_t::config_t(Json::Value const& root) : LogItem(nullptr) {
    if (root.empty()) {
        throw xException("config : пустой файл конфигурации.");
    }
    name = jUtils::get_string(root, "name", "");
    if (name.empty()) {
        throw xException("config : не указано имя драйвера.");
    }
    Json::Value const& mqtt = jUtils::at(root, "mqtt");
    url = jUtils::get_string(mqtt, "url", url);
    port = jUtils::get_int(mqtt, "port", port);
    int const asked = jUtils::get_int(root, "wto", wto);
    if (asked < 1) {
        Logf(lmtError, "wto = %d : недопустимое значение, принято %d.", asked, wto);
    } else {
        wto = asked;
    }
    load_channels(jUtils::at(root, "channels"));
}

void config_t::load_channels(Json::Value const& nodes) {
    if (!nodes.isArray() || nodes.empty()) {
        throw xException("config : в конфигурационно0м файле не задано ни одного канала.");
    }
    std::set<std::string> names;
    std::set<int> numbers;
    for (Json::Value const& node : nodes) {
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
        throw xException("config : пустой файл конфигурации.");
    }
    return Load(root);
}

}  // namespace xgpio
