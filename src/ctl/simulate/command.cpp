// The command that serves the far ends of a configuration.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

#include "config/process.h"
#include "ctl/check/loading.h"
#include "ctl/commands.h"
#include "ctl/json_text.h"
#include "ctl/language/phrase.h"
#include "ctl/line/end_signals.h"
#include "ctl/simulate/simulation.h"
#include "ctl/text_columns.h"
#include "foundation/jutils.h"

namespace fs = std::filesystem;

namespace {

struct Options {
    std::string file;
    std::string output;
    int seconds = 0;
    sim::Settings settings;
};

Json::Value plain_configuration(std::string const& path) {
    std::unique_ptr<Loading> const loading = load_configuration(path);
    if (!loading->lines.empty() || !loading->dropped.empty()) {
        std::cerr << say("%s has faults: `ostrandctl check` tells them", path) << std::endl;
    }
    if (loading->gpio) {
        std::cerr << say("GPIO lines aren't simulated") << std::endl;
    }
    return loading->normalised;
}

void write_copy(Json::Value const& config, Options const& options) {
    std::error_code ignored;
    if (fs::equivalent(options.output, options.file, ignored)) {
        throw std::runtime_error(say("%s: is the configuration itself", options.output));
    }
    bool const is_secret = xCommon::jUtils::at(xCommon::jUtils::at(config, "mqtt"), "password").isString();
    std::ofstream file(options.output);
    if (is_secret) {
        fs::permissions(options.output, fs::perms::owner_read | fs::perms::owner_write, ignored);
    }
    if (!(file << json_text(config) << std::flush)) {
        throw std::runtime_error(say("%s: can't be written", options.output));
    }
}

void print(sim::Simulation const& simulation) {
    bool is_elsewhere = false;
    columns::Rows rows;
    for (sim::ServedPort const& port : simulation.ports()) {
        std::string devices;
        for (std::string const& device : port.devices) {
            devices += (devices.empty() ? "" : ", ") + device;
        }
        rows.push_back({port.name, port.place + (port.is_elsewhere ? " (*)" : ""), devices});
        is_elsewhere = is_elsewhere || port.is_elsewhere;
    }
    std::cout << columns::table(rows);
    if (is_elsewhere) {
        std::cout << say("(*) not where the configuration says: start the daemon with the copy of --output") << "\n";
    }
    std::cout << say("serving until Ctrl-C") << std::endl;
}

void run(Options const& options) {
    Json::Value const config = plain_configuration(options.file);
    // Ahead of the threads, which inherit that the signals are held.
    int const signals = end_signals();
    sim::Simulation simulation(config, options.settings);
    for (std::string const& note : simulation.notes()) {
        std::cerr << note << std::endl;
    }
    if (simulation.ports().empty()) {
        throw std::runtime_error(say("none of the ports can be served"));
    }
    if (!options.output.empty()) {
        write_copy(simulation.redirected(), options);
    }
    print(simulation);
    simulation.run(signals, options.seconds > 0 ? std::optional(std::chrono::seconds(options.seconds)) : std::nullopt);
}

}  // namespace

void add_simulate(CLI::App& app, int& /*status*/) {
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("simulate", say("serve the far end of every port of a configuration"));
    command->add_option("FILE", options->file, say("the configuration"))->required();
    command->add_option("-o,--output", options->output, say("write a copy that leads to the simulation"));
    command->add_option("--faults", options->settings.fault_rate, say("part of the answers that go wrong, 0 to 1"))
        ->check(CLI::Range(0.0, 1.0));
    command->add_option("--seconds", options->seconds, say("end by itself behind so long"))
        ->check(CLI::Range(1, 1000000000));
    command->add_option("--host", options->settings.broker_host, say("broker of Zigbee bridges, if another one"));
    command->add_option("--port", options->settings.broker_port, say("its port"))->check(CLI::Range(1, 65535));
    command
        ->add_option_function<std::string>(
            "--templates", [](std::string const& folder) { templates_folder() = folder; },
            say("folder of the templates"))
        ->check(CLI::ExistingDirectory);
    command->footer(
        say("  ostrandctl simulate plant.json --output desk.json &\n"
            "  ostrand -c desk.json\n"
            "Each device answers each of its parameters with values that move within its limits; what is written is\n"
            "read back. A serial line is a link, just where the configuration has it if that place is free."));
    command->callback([options] { run(*options); });
}
