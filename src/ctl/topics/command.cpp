#include <algorithm>
#include <iostream>
#include <memory>

#include "config/constants.h"
#include "config/process.h"
#include "ctl/commands.h"
#include "ctl/json_text.h"
#include "ctl/language/phrase.h"
#include "ctl/text_columns.h"
#include "ctl/topics/topic_list.h"

namespace {

std::string interval_text(TopicRow const& row) {
    return row.interval ? std::to_string(*row.interval) : "";
}

std::vector<std::string> cells_of(TopicRow const& row) {
    return {row.topic,          row.on_topic, row.direction(), row.parameter, row.unit,
            interval_text(row), row.port,     row.device,      row.source};
}

constexpr char const* names[] = {"topic",    "on_topic", "direction", "parameter", "unit",
                                 "interval", "port",     "device",    "source"};

std::string csv_cell(std::string const& text) {
    return text.find_first_of("\",;\r\n") == std::string::npos
               ? text
               : "\"" + xCommon::xString::Replace(text, "\"", "\"\"") + "\"";
}

std::string as_csv(std::vector<TopicRow> const& rows) {
    std::string text;
    for (char const* const name : names) {
        text += (text.empty() ? "" : ",") + std::string(name);
    }
    text += "\r\n";
    for (TopicRow const& row : rows) {
        std::string line;
        for (std::string const& cell : cells_of(row)) {
            line += csv_cell(cell) + ",";
        }
        line.pop_back();
        text += line + "\r\n";
    }
    return text;
}

std::string as_json(std::vector<TopicRow> const& rows) {
    Json::Value list(Json::arrayValue);
    for (TopicRow const& row : rows) {
        Json::Value object;
        std::vector<std::string> const cells = cells_of(row);
        for (size_t at = 0; at < cells.size(); ++at) {
            object[names[at]] = cells[at];
        }
        object["interval"] = row.interval ? Json::Value(*row.interval) : Json::Value();
        list.append(object);
    }
    return json_text(list);
}

std::string as_table(std::vector<TopicRow> const& rows) {
    columns::Rows table = {{say("topic"), "", say("unit"), say("interval"), say("port"), say("device"), say("source")}};
    for (TopicRow const& row : rows) {
        table.push_back({row.topic, row.direction(), row.unit, interval_text(row), row.port, row.device, row.source});
    }
    return columns::table(table);
}

void run(std::string const& path, std::string const& form) {
    std::unique_ptr<Loading> const loading = load_configuration(path);
    LogListener const silence([](auto...) {});
    IdlePorts const ports(*loading->config);
    std::vector<TopicRow> const rows = list_topics(*loading, ports);
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
