// The companion of the daemon: what an engineer does around it, with the daemon's own loader and drivers.

#include <cstdio>
#include <cstring>

#include "ctl/check/document.h"
#include "ctl/commands.h"
#include "ctl/language/phrase.h"
#include "ctl/text_columns.h"

namespace {

/// Ahead of the parser, whose texts are in that language already. What it is wrong about the parser tells.
std::string_view wanted_language(int argc, char** argv) {
    constexpr std::string_view option = "--language";
    for (int index = 1; index < argc; ++index) {
        std::string_view const argument = argv[index];
        if (argument == option && index + 1 < argc) {
            return argv[index + 1];
        }
        if (argument.starts_with("--language=")) {
            return argument.substr(option.size() + 1);
        }
    }
    return {};
}

void name_parts(CLI::App& app) {
    auto const formatter = app.get_formatter();
    formatter->column_width(32);
    formatter->label("Usage", say("Usage"));
    formatter->label("OPTIONS", say("OPTIONS"));
    formatter->label("SUBCOMMAND", say("COMMAND"));
    formatter->label("SUBCOMMANDS", say("COMMANDS"));
    formatter->label("Positionals", say("Arguments"));
    formatter->label("REQUIRED", say("required"));
    app.option_defaults()->group(say("Options"));
    app.set_help_flag("-h,--help", say("print this text"));
}

/// The parser's own texts are English; in Russian what it stumbled over follows a sentence.
int tell(CLI::App const& app, CLI::ParseError const& error) {
    if (language::is_russian() && error.get_exit_code() != 0) {
        std::fprintf(stderr, "%s : %s\n", say("the command line can't be used").c_str(), error.what());
        return status_refused;
    }
    return app.exit(error) == 0 ? status_ok : status_refused;
}

}  // namespace

int main(int argc, char** argv) {
    int status = status_ok;
    try {
        language::choose(wanted_language(argc, argv));
        columns::choose_characters();
        CLI::App app(say("Works with the configurations and devices of ostrand."));
        name_parts(app);
        app.require_subcommand(1);
        app.fallthrough();
        std::string named;
        app.add_option("--language", named, say("of the messages; otherwise as the locale says"))
            ->check(CLI::IsMember({"en", "ru"}));
        for (auto const add : {add_scan, add_check, add_schema, add_topics, add_read, add_write, add_watch,
                               add_simulate, add_capture, add_replay, add_keys}) {
            add(app, status);
        }
        for (CLI::App* const command : app.get_subcommands({})) {
            if (!command->get_group().empty()) {
                command->group(say("Commands"));
            }
            command->get_help_ptr()->group(say("Options"));
        }
        try {
            app.parse(argc, argv);
        } catch (CLI::ParseError const& e) {
            return tell(app, e);
        }
    } catch (UnreadableFile const& e) {
        std::fprintf(stderr, "ostrandctl: %s\n", e.what());
        return status_refused;
    } catch (std::exception const& e) {
        std::fprintf(stderr, "ostrandctl: %s\n", e.what());
        return status_failed;
    }
    return status;
}
