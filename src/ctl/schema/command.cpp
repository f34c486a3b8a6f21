#include <iostream>
#include <memory>

#include "ctl/commands.h"
#include "ctl/json_text.h"
#include "ctl/language/phrase.h"
#include "ctl/schema/schema.h"

void add_schema(CLI::App& app, int& /*status*/) {
    auto of_templates = std::make_shared<bool>(false);
    CLI::App* const command =
        app.add_subcommand("schema", say("print the JSON Schema of a configuration, for editors"));
    command->add_flag("--template", *of_templates, say("that of a template"));
    command->footer(
        say("  ostrandctl schema > ostrand.schema.json\n"
            "A configuration that begins with {\"$schema\": \"ostrand.schema.json\", ... is completed and checked by\n"
            "editors while it is written; descriptions come in the language of the messages (--language)."));
    command->callback(
        [of_templates] { std::cout << json_text(*of_templates ? template_schema() : configuration_schema()); });
}
