#include <algorithm>
#include <iostream>
#include <map>
#include <memory>

#include "config/constants.h"
#include "config/process.h"
#include "ctl/check/key_rows.h"
#include "ctl/check/loading.h"
#include "ctl/commands.h"
#include "ctl/json_text.h"
#include "ctl/language/phrase.h"
#include "ctl/text_columns.h"
#include "topics/topic_list.h"

namespace {

std::string interval_text(TopicRow const& row) {
    return row.interval ? std::to_string(*row.interval) : "";
}

/// "reg_type=input reg_addr=10": what of the device, in the keys of its driver.
std::string source_of(Loading const& loading, TopicRow const& row) {
    if (row.channel != nullptr) {
        return "gpio=" + std::to_string(row.channel->gpio);
    }
    static keys::Tables const common = CParam::key_tables();
    std::map<std::string, std::string> values;
    for (Loading::Element const* const element : loading.all_of(row.node)) {
        Json::Value const& json = loading.element(element->place);
        for (auto const& table : key_rows::tables(element->class_key)) {
            bool const is_common = std::any_of(common.begin(), common.end(),
                                               [&table](auto const& other) { return other.data() == table.data(); });
            for (keys::Key const& key : table) {
                bool const is_plain = key.value.type != keys::Type::list && key.value.type != keys::Type::object;
                bool const is_own = !is_common || key.name == std::string_view("value_type");
                if (is_own && is_plain && json.isObject() && json.isMember(key.name)) {
                    values[key.name] = text_at(json, key.name);
                }
            }
        }
    }
    std::string text;
    for (auto const& [key, value] : values) {
        text.append(text.empty() ? "" : " ").append(key).append("=").append(value);
    }
    return text;
}

/// A row, and where it comes from.
struct Sourced {
    TopicRow row;
    std::string source;
};

std::vector<std::string> cells_of(Sourced const& sourced) {
    TopicRow const& row = sourced.row;
    return {row.topic,          row.on_topic, row.direction(), row.parameter, row.unit,
            interval_text(row), row.port,     row.device,      sourced.source};
}

constexpr char const* names[] = {"topic",    "on_topic", "direction", "parameter", "unit",
                                 "interval", "port",     "device",    "source"};

std::string csv_cell(std::string const& text) {
    return text.find_first_of("\",;\r\n") == std::string::npos
               ? text
               : "\"" + xCommon::xString::Replace(text, "\"", "\"\"") + "\"";
}

std::string as_csv(std::vector<Sourced> const& rows) {
    std::string text;
    for (char const* const name : names) {
        text += (text.empty() ? "" : ",") + std::string(name);
    }
    text += "\r\n";
    for (Sourced const& row : rows) {
        std::string line;
        for (std::string const& cell : cells_of(row)) {
            line += csv_cell(cell) + ",";
        }
        line.pop_back();
        text += line + "\r\n";
    }
    return text;
}

std::string as_json(std::vector<Sourced> const& rows) {
    Json::Value list(Json::arrayValue);
    for (Sourced const& sourced : rows) {
        Json::Value object;
        std::vector<std::string> const cells = cells_of(sourced);
        for (size_t at = 0; at < cells.size(); ++at) {
            object[names[at]] = cells[at];
        }
        object["interval"] = sourced.row.interval ? Json::Value(*sourced.row.interval) : Json::Value();
        list.append(object);
    }
    return json_text(list);
}

std::string as_table(std::vector<Sourced> const& rows) {
    columns::Rows table = {{say("topic"), "", say("unit"), say("interval"), say("port"), say("device"), say("source")}};
    for (auto const& [row, source] : rows) {
        table.push_back({row.topic, row.direction(), row.unit, interval_text(row), row.port, row.device, source});
    }
    return columns::table(table);
}

void run(std::string const& path, std::string const& form) {
    std::unique_ptr<Loading> const loading = load_configuration(path);
    LogListener const silence([](auto...) {});
    IdlePorts const ports(*loading->config);
    std::vector<Sourced> rows;
    for (TopicRow const& row : list_topics(*loading->config, loading->gpio.get(), ports)) {
        rows.push_back({row, source_of(*loading, row)});
    }
    std::cout << (form == "json" ? as_json(rows) : form == "csv" ? as_csv(rows) : as_table(rows));
}

}  // namespace

void add_topics(CLI::App& app, int& /*status*/) {
    auto file = std::make_shared<std::string>(path_config_second);
    auto form = std::make_shared<std::string>();
    CLI::App* const command = app.add_subcommand("topics", say("list the topics of a configuration"));
    command->add_option("FILE", *file, say("the configuration"))->capture_default_str();
    command->add_option("--templates", templates_folder(), say("folder of the templates"))->capture_default_str();
    auto* const json = command->add_flag_callback(
        "--json", [form] { *form = "json"; }, say("as JSON"));
    command
        ->add_flag_callback(
            "--csv", [form] { *form = "csv"; }, say("as CSV"))
        ->excludes(json);
    command->footer(
        say("  ostrandctl topics /etc/ostrand.json\n"
            "lists what the daemon publishes (r) and takes on the topic with /on behind it (w).\n"
            "The configuration has to load; elements that the daemon leaves out aren't listed."));
    command->callback([file, form] { run(*file, *form); });
}
