// The commands around scenarios.

#include <fstream>
#include <iostream>
#include <memory>

#include "config/constants.h"
#include "ctl/capture.h"
#include "ctl/commands.h"
#include "ctl/key_table.h"
#include "ctl/language/phrase.h"
#include "ctl/replay.h"

void add_capture(CLI::App& app, int& /*status*/) {
    auto options = std::make_shared<CaptureOptions>();
    auto output = std::make_shared<std::string>();
    options->config = path_config_second;
    CLI::App* command = app.add_subcommand("capture", say("make a scenario of a log that was written with -h"));
    command->add_option("LOG", options->log, say("the log; its frames are found by the port's name"))
        ->required()
        ->check(CLI::ExistingFile);
    command->add_option("-p,--port", options->port, say("name of the port, as in the configuration"))->required();
    command->add_option("-d,--device", options->device, say("only this device of the port"));
    command->add_option("-c,--config", options->config, say("the configuration that was in force"))
        ->capture_default_str();
    command->add_option("--passes", options->passes, say("passes over the port, at most"))
        ->capture_default_str()
        ->check(CLI::Range(1, 1000));
    command->add_option("-o,--output", *output, say("the scenario; standard output if absent"));
    command->footer(
        say("Run the daemon with -h for a while, then:\n"
            "  ostrandctl capture /var/log/ostrand/ostrand.log --port line1 -o boiler.scn\n"
            "What the daemon's drivers make of the captured frames stands in the scenario as what must come; a value\n"
            "that the log doesn't have is told on standard error."));
    command->callback([options, output] {
        if (output->empty()) {
            capture(*options, std::cout, std::cerr);
            return;
        }
        std::ostringstream scenario;
        capture(*options, scenario, std::cerr);
        std::ofstream file(*output);
        if (!(file << scenario.str() << std::flush)) {
            throw std::runtime_error(say("%s: can't be written", *output));
        }
    });
}

void add_replay(CLI::App& app, int& /*status*/) {
    auto options = std::make_shared<ReplayOptions>();
    CLI::App* command = app.add_subcommand("replay", say("serve the far end of a line by a scenario"));
    command->add_option("FILE", options->scenario, say("the scenario"))->required()->check(CLI::ExistingFile);
    command->add_option("-p,--port", options->port, say("whose wire, where it has several"));
    auto* link = command->add_option("--tty", options->link, say("make a pseudo-terminal under this path"));
    command->add_option("--tcp", options->tcp, say("listen on this port of 127.0.0.1; 0 for a free one"))
        ->check(CLI::Range(0, 65535))
        ->excludes(link);
    command->add_flag("--fast", options->fast, say("without the pauses of the scenario"));
    command->footer(
        say("  ostrandctl replay boiler.scn --tty /tmp/boiler\n"
            "serves until Ctrl-C; rs.path of the daemon's port is then /tmp/boiler."));
    command->callback([options] { replay(*options, std::cout); });
}

/// For scripts/docs.
void add_keys(CLI::App& app, int& /*status*/) {
    auto key = std::make_shared<std::string>();
    CLI::App* command = app.add_subcommand("keys", "print the keys of a class of nodes as a table")->group("");
    command->add_option("CLASS", *key, "as mb-rtu.cparam")->required();
    command->callback([key] { std::cout << key_table(*key, language::is_russian()); });
}
