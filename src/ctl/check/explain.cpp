#include "ctl/check/explain.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <regex>

#include "config/constants.h"
#include "config/process.h"
#include "ctl/check/key_rows.h"
#include "ctl/json_text.h"
#include "ctl/language/phrase.h"
#include "foundation/jutils.h"

using xCommon::jUtils;
using xCommon::xString;

namespace {

/// A key and what is to be said of it; a text of nothing: what the key's table says.
struct Meaning {
    std::string key;
    std::string text;
};

/// Pieces of lines whose exceptions tell more than the key that was read, or that were raised where none was.
struct Row {
    char const* piece;
    char const* key;
    Phrase text;
};
Row const rows[] = {
    {"Load : узел пуст", "", "is empty"},
    {"узел конфига пуст", "", "is empty"},
    {"пустой узел канала", "", "is empty"},
    {"корень файла конфигурации не является", "", "the file has to be an object"},
    {"шаблон не является объектом", "", "a template has to be an object"},
    {"не задано ни одного канала", "channels", "none of the channels can be used"},
    {"Не указано имя параметра z2t_name", "z2t_name", "is empty"},
    {"исключение при парсинге элемента : stoi", "object_id", "isn't six numbers with points between them"},
    {"не содержит 6 элементов", "object_id", "isn't six numbers with points between them"},
    {"неверный формат scale", "scale", "isn't a number that can be used"},
    {"невалидные настройки zigbee-порта", "zigbee", "needs the bridge's address"},
    {"Неизвестный тип устройства для порта XGPIO", "type", "has to be xgpio here"},
    {"не содержит ни одного устройства mb-tcp", "devices",
     "has no mb-tcp: in this shape of the file the loading would never end"},
    {"'devices' и 'parameters' должны быть списками", "", "devices and parameters have to be lists"},
    {"'devices' и 'parameters' - списками", "", "connection has to be an object, devices and parameters lists"},
    {"bhold.ctor", "bh_list", "the bits have to be a list of objects with name and offset"},
    {"битовый параметр без списка 'bh_list'", "bh_list", "is missing: there is nothing to publish"},
    {"должен быть указан массив 'bh_list'", "bh_list", "is missing: commands 13 and 21 need it"},
    {"для команды 15 должен быть указан номер канала", "channel", "has to be one character, 0 to F, for command 9"},
    {"Допустимые значения : 1, 9, 10, 13, 15 и 21", "cmd", "has to be 1, 9, 10, 13, 15 or 21"},
    {"не указана ссылка на параметры устройства", "type", "a parameter of this type needs a device of it"},
    {"не указан 'cdev'", "type", "a parameter of this type needs a device of it"},
    {"не указан порт", "type", "a device of this type needs a port of it"},
    {"имя непригодно для топика", "name", "can't stand in a topic: with it nothing is published"},
    {"'mqtt.password' : пропущен", "mqtt.password", "has no effect beside password_file"},
    {"пароль не передаётся", "mqtt.user", "is missing: without it no password is sent"},
    {"доступен для чтения всем", "mqtt.password_file", "can be read by everybody on this machine"},
    {"(insecure)", "mqtt.tls.insecure", "the certificate may be another host's: whoever has one can be the broker"},
    {"топик непригоден для публикации", "mqtt.status_topic", "can't be a topic: no presence is published"},
    {"сообщения обнаружения не публикуются", "mqtt.discovery", "needs a node, and a prefix without wildcards"},
};

std::string quoted_key(std::string const& text) {
    static std::regex const quoted(R"(ключа '([^']+)'|(?:атрибут|аргумент|атрибута|параметр|ключ|указан) '([^']+)')");
    std::smatch found;
    if (!std::regex_search(text, found, quoted)) {
        return {};
    }
    return found[1].matched ? found[1] : found[2];
}

/// In the connection shape the keys of a port lie in an object of their own.
Json::Value const& keyed(Json::Value const& element) {
    Json::Value const& connection = jUtils::at(element, "connection");
    return connection.isObject() ? connection : element;
}

/// Of a key that the element doesn't have itself, in one of its objects.
std::string with_object(Json::Value const& element, std::string const& key) {
    if (key.empty() || jUtils::has(keyed(element), key.c_str())) {
        return key;
    }
    for (char const* object : {"rs", "tcp", "zigbee", "mqtt", "log"}) {
        Json::Value const& inner = jUtils::at(keyed(element), object);
        if (jUtils::has(inner, key.c_str())) {
            return std::string(object) + "." + key;
        }
    }
    return key;
}

Json::Value const& value_at(Json::Value const& element, std::string const& key) {
    Json::Value const* value = &keyed(element);
    if (jUtils::has(element, key.c_str())) {
        value = &element;
    }
    for (std::string const& piece : xString::Split(key, ".")) {
        value = &jUtils::at(*value, piece.c_str());
    }
    return *value;
}

/// Name and type are asked for ahead of the class.
constexpr char any_element[] = "base.cport";

/// The row of a key, in the table of the object that holds it.
keys::Key const* row_of(std::string const& class_key, std::string const& key) {
    size_t const point = key.rfind('.');
    if (point == std::string::npos) {
        keys::Key const* const row = key_rows::find(class_key, key);
        return row == nullptr ? key_rows::find(any_element, key) : row;
    }
    return key_rows::find(key.substr(0, point), key.substr(point + 1));
}

/// Values that nobody else shall read.
bool is_secret(std::string const& key) {
    return key == "mqtt.password";
}

std::string fault_of_value(std::string const& class_key, std::string const& key, Json::Value const& element) {
    keys::Key const* const row = row_of(class_key, key);
    Json::Value const& value = value_at(element, key);
    if (value.isNull()) {
        return row == nullptr ? say("is missing") : say("is missing: %s", key_rows::meaning(*row));
    }
    if (value.isString() && value.asString().empty() && (row == nullptr || row->words.empty())) {
        return say("is empty");
    }
    if (is_secret(key)) {
        return say("can't be used; allowed: %s", row == nullptr ? "" : key_rows::allowed(*row));
    }
    std::string text = row == nullptr
                           ? say("%s can't be used", key_rows::shown(value))
                           : say("%s can't be used; allowed: %s", key_rows::shown(value), key_rows::allowed(*row));
    if (row != nullptr && !row->words.empty() && value.isString()) {
        std::string const near = key_rows::nearest(value.asString(), {row->words.begin(), row->words.end()});
        text += near.empty() ? "" : " " + say("(did you mean %s?)", near);
    }
    return text;
}

std::vector<std::string> type_words(std::string const& suffix) {
    std::vector<std::string> words;
    for (auto const& [key, creator] : CBFac::stone_map()) {
        if (key.ends_with(suffix)) {
            words.push_back(key.substr(0, key.size() - suffix.size()));
        }
    }
    return words;
}

Meaning unknown_type(std::string const& class_key) {
    std::string const suffix = class_key.substr(class_key.rfind('.'));
    std::string const word = class_key.substr(0, class_key.size() - suffix.size());
    std::vector<std::string> const words = type_words(suffix);
    std::string list;
    for (std::string const& known : words) {
        list += (list.empty() ? "" : ", ") + known;
    }
    std::string text = say("%s isn't known; known are %s", "\"" + xString::Shown(word) + "\"", list);
    std::string const near = key_rows::nearest(word, words);
    return {"type", text + (near.empty() ? "" : " " + say("(did you mean %s?)", near))};
}

/// Which of the serial settings are at fault.
Meaning bad_line(Json::Value const& element) {
    Json::Value const& rs = jUtils::at(keyed(element), "rs");
    if (!rs.isObject()) {
        return {"rs", rs.isNull() ? say("is missing: %s", say("a serial line needs its settings"))
                                  : say("%s can't be used; allowed: %s", key_rows::shown(rs), say("an object"))};
    }
    for (auto const& table : key_rows::tables("rs")) {
        for (keys::Key const& row : table) {
            if (jUtils::has(rs, row.name) && !key_rows::fits(row, rs[row.name])) {
                return {std::string("rs.") + row.name, {}};
            }
        }
    }
    return {"rs.path", {}};
}

std::vector<std::string> templates() {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(templates_folder(), error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().extension() == ".json") {
            names.push_back(entry->path().stem());
        }
    }
    return names;
}

/// A list of which nothing could be made.
Meaning nothing_of(Loading const& loading, Loading::Line const& line, char const* key, Phrase none_usable) {
    Json::Value const& element = loading.element(line.place);
    Json::Value const& list = jUtils::at(element, key);
    if (list.isArray() && !list.empty()) {
        return {key, say(none_usable)};
    }
    // In the connection shape the parameters stand elsewhere.
    std::string const cname = text_at(element, "cname");
    Document const* const document = loading.document(line.place.file);
    Json::Value const* const owner = document == nullptr ? nullptr : document->owner(line.place.offset);
    if (!cname.empty() && owner != nullptr && jUtils::has(*owner, "connection")) {
        for (Json::Value const& group : jUtils::at(*owner, "parameters")) {
            if (text_at(group, "cname") == cname) {
                return {key, say(none_usable)};
            }
        }
        return {"cname", say("no group of parameters has this cname")};
    }
    if (!text_at(element, "templ").empty()) {
        return {key, say(none_usable)};
    }
    return {key, list.isNull() ? say("is missing") : list.isArray() ? say("is empty") : say(none_usable)};
}

/// What is wrong with a bit, and with which key of it; nothing with one that can be used.
Meaning fault_of_bit(Json::Value const& bit, double most) {
    if (!bit.isObject() || bit.empty()) {
        return {"", say("%s can't be used; allowed: %s", key_rows::shown(bit), say("an object"))};
    }
    for (auto const& table : key_rows::tables("bh_list")) {
        for (keys::Key row : table) {
            row.most = std::min(row.most, row.name == std::string_view("offset") ? most : keys::unbounded);
            Json::Value const& value = jUtils::at(bit, row.name);
            if (value.isNull() ? row.missing != nullptr : !key_rows::fits(row, value)) {
                return {row.name, value.isNull() ? say("is missing: %s", key_rows::meaning(row))
                                                 : say("%s can't be used; allowed: %s", key_rows::shown(value),
                                                       key_rows::allowed(row))};
            }
        }
    }
    return {};
}

/// The first bit that can't be used, where a line is about one.
std::optional<Finding> explain_bit(Loading const& loading, Loading::Line const& line) {
    static std::regex const limit("'offset' превышает максимальное значение : (\\d+)");
    std::smatch found;
    double const most = std::regex_search(line.text, found, limit) ? std::stod(found[1]) : keys::unbounded;
    static std::regex const about_bit("bitem|ключа '(name|offset|inverted)'");
    Json::Value const& list = jUtils::at(loading.element(line.place), "bh_list");
    if (!list.isArray() || !line.key.empty() || !std::regex_search(line.text, about_bit)) {
        return {};
    }
    for (Json::Value const& bit : list) {
        Meaning const meaning = fault_of_bit(bit, most);
        if (!meaning.text.empty()) {
            return make_finding(loading, {line.place.file, bit.getOffsetStart()}, meaning.key, meaning.text);
        }
    }
    return {};
}

/// A template that was not found, or is none.
Finding explain_template(Loading const& loading, Loading::Line const& line) {
    std::string const templ = text_at(loading.element(line.place), "templ");
    std::string const path = templates_folder() + "/" + templ + ".json";
    Document const* const document = loading.document(path);
    if (document == nullptr || templ.empty()) {
        std::string const near = key_rows::nearest(templ, templates());
        return make_finding(loading, line.place, "templ",
                            say("%s can't be read: the device goes without it", path) +
                                (near.empty() ? "" : " " + say("(did you mean %s?)", near)));
    }
    if (document->fault().empty()) {
        // What an object has else is told by lines of its own.
        return document->root().isObject()
                   ? make_finding(loading, {path, -1}, "name", say("has to be the name of the file"))
                   : make_finding(loading, {path, -1}, "", say("a template has to be an object"));
    }
    Finding finding = make_finding(loading, {path, -1}, "", document->fault());
    finding.line = document->fault_position().line;
    finding.column = document->fault_position().column;
    return finding;
}

Meaning meaning_of(Loading const& loading, Loading::Line const& line) {
    Json::Value const& element = loading.element(line.place);
    std::string const& text = line.text;
    auto const has = [&text](char const* piece) { return text.find(piece) != std::string::npos; };
    if (has("тип элемента не найден")) {
        return unknown_type(line.class_key);
    }
    if (has("элемент без имени") || has("не имеет имени")) {
        return {"name", {}};
    }
    if (has("элемент без типа")) {
        return {"type", {}};
    }
    static std::regex const no_list(R"(^Load : (\w+) : не является списком)");
    std::smatch list;
    if (std::regex_search(text, list, no_list)) {
        return {list[1],
                say("%s can't be used; allowed: %s", key_rows::shown(value_at(element, list[1])), say("a list"))};
    }
    if (has("невалидные настройки rs-порта")) {
        return bad_line(element);
    }
    if (has("список устройств пуст")) {
        return nothing_of(loading, line, "devices", "none of the devices can be used");
    }
    if (has("не содержит ни одного параметра")) {
        return nothing_of(loading, line, "params", "none of the parameters can be used");
    }
    if (has("конфиг не содержит настроек TCP/MQTT")) {
        return {line.class_key.empty() ? "mqtt" : "tcp", say("needs an object with url and port")};
    }
    if (has("не указан атрибут 'reg_addr'") && line.outer_key == "dcon.cdev" && !jUtils::has(element, "type")) {
        return {"type", say("is missing: without it the parameter is one of Modbus; \"dcon\" is meant here")};
    }
    if (has("имя шаблона не совпадает")) {
        return {"name", say("has to be the name of the file")};
    }
    if (has("одинаковый идентификатор клиента MQTT")) {
        return {"",
                say("the names of two ports are alike in their first 23 bytes: the broker throws out one of the two")};
    }
    if (has("уже зарегистрирован")) {
        return {has("с именем") ? "name" : "gpio", say("stands at a channel above already")};
    }
    for (Row const& row : rows) {
        if (has(row.piece)) {
            return {row.key, say(row.text)};
        }
    }
    std::string const key = line.key.empty() ? quoted_key(text) : line.key;
    if (key.empty()) {
        return {"", say("the loader says: %s", text)};
    }
    return {key, {}};
}

}  // namespace

Finding explain_line(Loading const& loading, Loading::Place const& place) {
    Json::Value const& element = loading.element(place);
    Meaning meaning = bad_line(element);
    if (meaning.text.empty()) {
        meaning.text = fault_of_value("", meaning.key, element);
    }
    return make_finding(loading, place, meaning.key, meaning.text);
}

Finding make_finding(Loading const& loading, Loading::Place const& place, std::string const& key, std::string text) {
    Finding finding;
    finding.file = place.file;
    finding.key = key;
    finding.text = std::move(text);
    if (Document const* const document = loading.document(place.file)) {
        Document::Position const position = document->position(place.offset, key);
        finding.line = position.line;
        finding.column = position.column;
        finding.path = document->path_to(place.offset);
    }
    return finding;
}

Finding explain(Loading const& loading, Loading::Line const& line) {
    Finding finding;
    if (line.text.starts_with("ошибка при обработке шаблона")) {
        finding = explain_template(loading, line);
    } else {
        if (std::optional<Finding> bit = explain_bit(loading, line)) {
            bit->log = {line.text};
            return *bit;
        }
        Json::Value const& element = loading.element(line.place);
        Meaning meaning = meaning_of(loading, line);
        meaning.key = with_object(element, meaning.key);
        if (meaning.text.empty()) {
            std::string const class_key = line.class_key.empty() ? "root" : line.class_key;
            meaning.text = fault_of_value(class_key, meaning.key, element);
        }
        finding = make_finding(loading, line.place, meaning.key, meaning.text);
    }
    finding.log = {line.text};
    return finding;
}
