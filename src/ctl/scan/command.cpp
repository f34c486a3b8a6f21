#include <fstream>
#include <iostream>
#include <memory>

#include <poll.h>
#include <unistd.h>

#include "ctl/commands.h"
#include "ctl/json_text.h"
#include "ctl/language/phrase.h"
#include "ctl/line/end_signals.h"
#include "ctl/live/line_holder.h"
#include "ctl/scan/scan.h"

namespace {

using scanner::ScanOptions;
using scanner::ScanResult;

struct Arguments {
    ScanOptions scan;
    std::string output;
};

bool is_readable(int descriptor) {
    pollfd entry{descriptor, POLLIN, 0};
    return poll(&entry, 1, 0) > 0;
}

/// Ahead of a long scan, whose result would be lost.
void check_output(std::string const& path) {
    bool const is_there = access(path.c_str(), F_OK) == 0;
    std::ofstream const file(path, std::ios::app);
    if (!file) {
        throw std::runtime_error(say("%s: can't be written", path));
    }
    if (!is_there) {
        unlink(path.c_str());
    }
}

/// False when the file can't be written: the configuration is on standard output then.
bool write_configuration(Json::Value const& configuration, std::string const& path) {
    std::string const text = json_text(configuration);
    if (!path.empty()) {
        std::ofstream file(path);
        if (file << text << std::flush) {
            return true;
        }
        std::cerr << say("%s: can't be written", path) << "\n";
    }
    std::cout << "\n" << text << std::flush;
    return path.empty();
}

void tell_left_out(std::vector<std::string> const& words) {
    auto const has = [&words](std::string const& word) {
        return std::find(words.begin(), words.end(), word) != words.end();
    };
    std::string left_out;
    for (std::string const& word : scanner::protocol_words()) {
        left_out += has("all") && scanner::opens_session(word) && !has(word) ? " " + word : "";
    }
    if (!left_out.empty()) {
        std::cerr << say("\"all\" leaves out those that take an opening of a session; name them to ask them:%s",
                         left_out)
                  << "\n";
    }
}

int run(Arguments const& arguments) {
    ScanOptions const& options = arguments.scan;
    if (!arguments.output.empty()) {
        check_output(arguments.output);
    }
    tell_left_out(options.protocols);
    int const signals = end_signals();
    auto const line =
        options.tcp.empty() ? scanner::serial_scan_line(options.is_forced) : scanner::tcp_scan_line(options.tcp);
    ScanResult result;
    try {
        result = scanner::scan(options, *line, std::cout, std::cerr, [signals] { return is_readable(signals); });
    } catch (xserial::LineHeld const&) {
        std::string const holder = line_holder(options.tty);
        std::cerr << say("%s: another process holds the line: %s. Nothing was sent; --force asks all the same.",
                         options.tty, holder.empty() ? "?" : holder)
                  << "\n";
        return status_failed;
    }
    if (result.found.empty()) {
        std::cerr << say("nobody answers") << "\n";
        return status_failed;
    }
    std::cout << "\n" << scanner::table_of(result.found) << std::flush;
    bool const is_written = write_configuration(scanner::configuration_of(options, result.found), arguments.output);
    return is_written && result.is_whole ? status_ok : status_failed;
}

std::string footer() {
    return say(
        "  ostrandctl scan --tty /dev/ttyS0 --baudrate 9600,19200 --protocol modbus,dcon --output found.json\n"
        "asks each address at both rates, tells each device as soon as it answers, and leaves a configuration by "
        "which\n"
        "the daemon publishes a value of each. An address without a device takes one time-out for each protocol and\n"
        "each combination of settings. It is asked by what changes nothing in any device. A session, of Mercury, "
        "Milur\n"
        "and VKT-7, is opened only for protocols that are named, where somebody has answered, and once an address.\n"
        "Behind TCP the frames of Modbus TCP are tried first, and those of a serial line where nobody knows these.\n"
        "Ctrl-C ends it with what was found so far. Status: 0 where somebody was found, otherwise 1.");
}

}  // namespace

void add_scan(CLI::App& app, int& status) {
    auto arguments = std::make_shared<Arguments>();
    ScanOptions& scan = arguments->scan;
    CLI::App* command = app.add_subcommand("scan", say("find devices on a line"));
    auto* tty = command->add_option("--tty", scan.tty, say("the serial line"));
    auto* tcp = command->add_option("--tcp", scan.tcp, say("HOST:PORT of Modbus TCP, or of a converter to a line"));
    tcp->excludes(tty);
    auto const list = [command](char const* name, auto& values, Phrase about) {
        return command->add_option(name, values, about.text())->delimiter(',')->capture_default_str();
    };
    list("--baudrate", scan.baudrates, "rates to try")->check(CLI::Range(1U, 4'000'000U));
    list("--parity", scan.parities, "parities to try")->check(CLI::IsMember({"none", "odd", "even", "mark", "space"}));
    list("--bytesize", scan.bytesizes, "data bits; with less than 8 only text protocols are asked")
        ->check(CLI::Range(5, 8));
    list("--stopbits", scan.stopbits, "stop bits to try")->check(CLI::IsMember({1.0, 1.5, 2.0}));
    std::vector<std::string> words = scanner::protocol_words();
    words.emplace_back("all");
    list("--protocol", scan.protocols, "what to ask; all leaves out mercury, milur and vkt-7")
        ->check(CLI::IsMember(words));
    list("--address", scan.addresses, "numbers and ranges: 1-10,20");
    command->add_option("--timeout", scan.timeout_ms, say("wait for an answer, its request included, ms"))
        ->capture_default_str()
        ->check(CLI::Range(1, 60'000));
    command->add_flag("--rtu", scan.rtu_only, say("behind TCP: no frames of Modbus TCP"))->needs(tcp);
    command->add_flag("--no-checksum", scan.no_checksum, say("DCON modules are asked without checksums"));
    command->add_option("--output", arguments->output, say("file for the configuration, instead of standard output"));
    command->add_flag("--force", scan.is_forced, say("ask on a line that another process holds"));
    command->footer(footer());
    command->callback([arguments, &status] {
        try {
            if (arguments->scan.tty.empty() && arguments->scan.tcp.empty()) {
                throw std::invalid_argument(say("where? Either --tty PATH or --tcp HOST:PORT"));
            }
            scanner::addresses_of(arguments->scan.addresses);
            if (!arguments->scan.tcp.empty()) {
                scanner::HostPort const peer(arguments->scan.tcp);
            }
        } catch (std::invalid_argument const& e) {
            throw CLI::ValidationError(e.what());
        }
        status = run(*arguments);
    });
}
