#include <iostream>
#include <memory>
#include <set>

#include "config/constants.h"
#include "config/process.h"
#include "ctl/check/check.h"
#include "ctl/check/warning_names.h"
#include "ctl/commands.h"
#include "ctl/language/phrase.h"

namespace {

struct Options {
    std::string file = path_config_second;
    std::string templates;
    bool json = false;
    std::vector<std::string> silenced;
};

std::string footer() {
    std::string text =
        say("Tells everything that the daemon would leave out, refuse or die of, and warns of what it would take and "
            "not do\n"
            "as meant:\n"
            "  ostrandctl check /etc/ostrand.json\n"
            "The status is 0 without errors, 1 with some, 2 when the file can't be looked at.\n"
            "\nWarnings, by the names that --no-warn takes:\n");
    for (WarningName const& row : warning_names) {
        text += xCommon::xString::Format("  %-22s%s\n", row.name, say(row.meaning));
    }
    text.pop_back();
    return text;
}

int run(Options const& options) {
    if (!options.templates.empty()) {
        templates_folder() = options.templates;
    }
    std::vector<Finding> findings = check(options.file);
    std::erase_if(findings, [&options](Finding const& finding) {
        return std::count(options.silenced.begin(), options.silenced.end(), finding.name) > 0;
    });
    std::cout << (options.json ? as_json(findings) : as_text(findings));
    bool const has_errors = std::any_of(findings.begin(), findings.end(), [](Finding const& f) { return f.is_error; });
    return has_errors ? status_failed : status_ok;
}

}  // namespace

void add_check(CLI::App& app, int& status) {
    auto options = std::make_shared<Options>();
    CLI::App* const command = app.add_subcommand("check", say("tell everything that is wrong with a configuration"));
    command->add_option("FILE", options->file, say("the configuration"))->capture_default_str();
    command->add_option("--templates", options->templates, say("folder of the templates"))
        ->default_str(templates_folder());
    command->add_flag("--json", options->json, say("the findings as JSON"));
    std::vector<std::string> names;
    for (WarningName const& row : warning_names) {
        names.emplace_back(row.name);
    }
    command->add_option("--no-warn", options->silenced, say("leave out the warnings of this name; may be repeated"))
        ->check(CLI::IsMember(names))
        ->option_text("NAME")
        ->allow_extra_args(false);  // FILE may stand behind it
    command->footer(footer());
    command->callback([options, &status] { status = run(*options); });
}
