// A simulated Modbus RTU slave on a pseudo-terminal:
//
//   sim_modbus_rtu --link /tmp/line1 --address 17
//
// It makes /tmp/line1, prints that path when it is ready, and serves until a signal ends it; then the link goes too.
// Its registers stand in registers.h.

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include <getopt.h>
#include <poll.h>
#include <unistd.h>

#include "ctl/line/end_signals.h"
#include "ctl/line/pty_line.h"
#include "sim/rtu_slave.h"

namespace {

constexpr int first_address = 1;
constexpr int last_address = 247;

struct Arguments {
    std::string link;
    int address = first_address;
};

[[noreturn]] void usage(char const* program) {
    std::fprintf(stderr, "usage: %s --link PATH [--address %d..%d]\n", program, first_address, last_address);
    std::exit(2);
}

Arguments parse(int argc, char** argv) {
    static constexpr std::array<option, 3> options = {{{"link", required_argument, nullptr, 'l'},
                                                       {"address", required_argument, nullptr, 'a'},
                                                       {nullptr, 0, nullptr, 0}}};
    Arguments arguments;
    for (int found = 0; (found = getopt_long(argc, argv, "l:a:", options.data(), nullptr)) != -1;) {
        if (found == 'l') {
            arguments.link = optarg;
        } else if (found == 'a') {
            arguments.address = std::atoi(optarg);
        } else {
            usage(argv[0]);
        }
    }
    if (arguments.link.empty() || optind != argc || arguments.address < first_address ||
        arguments.address > last_address) {
        usage(argv[0]);
    }
    return arguments;
}

bool serve_until_signal(sim::RtuSlave& slave, int line, int signals) {
    std::array<pollfd, 2> awaited = {{{signals, POLLIN, 0}, {line, POLLIN, 0}}};
    for (;;) {
        if (poll(awaited.data(), awaited.size(), -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        if (awaited[0].revents != 0) {
            return true;
        }
        if (awaited[1].revents != 0 && !slave.serve()) {
            return false;
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    Arguments const arguments = parse(argc, argv);
    try {
        int const signals = end_signals();
        PtyLine const terminal(arguments.link);
        sim::RtuSlave slave(terminal.master(), arguments.address);
        std::printf("%s\n", arguments.link.c_str());
        std::fflush(stdout);
        if (!serve_until_signal(slave, terminal.master(), signals)) {
            std::fprintf(stderr, "%s : the line has failed\n", arguments.link.c_str());
            return 1;
        }
        return 0;
    } catch (std::exception const& e) {
        std::fprintf(stderr, "%s : %s\n", argv[0], e.what());
        return 1;
    }
}
