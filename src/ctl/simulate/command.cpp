// The command that serves the far ends of a configuration.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

#include <json/writer.h>
#include <unistd.h>

#include "app/normalise.h"
#include "config/process.h"
#include "ctl/commands.h"
#include "ctl/language/phrase.h"
#include "ctl/line/end_signals.h"
#include "ctl/simulate/simulation.h"
#include "foundation/jutils.h"

namespace fs = std::filesystem;

namespace {

struct Options {
    std::string file;
    std::string output;
    int seconds = 0;
    sim::Settings settings;
};

/// Why the file can't be read; empty when it can.
std::string unreadable(std::string const& path) {
    constexpr uintmax_t too_large = uintmax_t{100} * 1024 * 1024;
    std::error_code error;
    bool const is_file = fs::is_regular_file(path, error);
    bool const fits = is_file && access(path.c_str(), R_OK) == 0 && fs::file_size(path, error) < too_large && !error;
    return fits ? std::string() : say("%s: can't be read", path);
}

/// The loader walks such a port for ever.
bool never_ends(Json::Value const& port) {
    using xCommon::jUtils;
    if (!port.isObject() || !port["devices"].isArray() || port["devices"].empty() ||
        jUtils::at(port["connection"], "type") != "base.tcp") {
        return false;
    }
    return std::none_of(port["devices"].begin(), port["devices"].end(),
                        [](Json::Value const& device) { return jUtils::at(device, "type") == "mb-tcp"; });
}

Json::Value plain_configuration(std::string const& path) {
    Json::Value const file = xCommon::jUtils::Load(path);
    if (file.isObject() && file["ports"].isArray() &&
        std::any_of(file["ports"].begin(), file["ports"].end(), never_ends)) {
        throw std::runtime_error(say("%s: a base.tcp port without mb-tcp devices: loading never ends", path));
    }
    Normalised const normalised = normalise(file);
    if (normalised.is_xgpio) {
        std::cerr << say("GPIO lines aren't simulated") << std::endl;
    }
    return normalised.config;
}

void write_copy(Json::Value const& config, Options const& options) {
    std::error_code ignored;
    if (fs::equivalent(options.output, options.file, ignored)) {
        throw std::runtime_error(say("%s: is the configuration itself", options.output));
    }
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "    ";
    writer["emitUTF8"] = true;
    std::ofstream file(options.output);
    if (!(file << Json::writeString(writer, config) << std::endl)) {
        throw std::runtime_error(say("%s: can't be written", options.output));
    }
}

void print(sim::Simulation const& simulation) {
    bool is_elsewhere = false;
    for (sim::ServedPort const& port : simulation.ports()) {
        std::cout << port.name << "  " << port.place << (port.is_elsewhere ? " (*)" : "") << "  ";
        for (std::string const& device : port.devices) {
            std::cout << (&device == port.devices.data() ? "" : ", ") << device;
        }
        std::cout << "\n";
        is_elsewhere = is_elsewhere || port.is_elsewhere;
    }
    if (is_elsewhere) {
        std::cout << say("(*) not where the configuration says: start the daemon with the copy of --output") << "\n";
    }
    std::cout << say("serving until Ctrl-C") << std::endl;
}

int run(Options const& options) {
    std::string const reason = unreadable(options.file);
    if (!reason.empty()) {
        std::cerr << reason << std::endl;
        return status_refused;
    }
    // Ahead of the threads, which inherit that the signals are held.
    int const signals = end_signals();
    sim::Simulation simulation(plain_configuration(options.file), options.settings);
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
    return status_ok;
}

}  // namespace

void add_simulate(CLI::App& app, int& status) {
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
    command->callback([options, &status] { status = run(*options); });
}
