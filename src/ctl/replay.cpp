#include "ctl/replay.h"

#include <filesystem>
#include <mutex>
#include <ostream>
#include <stdexcept>

#include <poll.h>

#include "ctl/language/phrase.h"
#include "ctl/line/end_signals.h"
#include "ctl/line/serial_peer.h"
#include "ctl/line/tcp_far_end.h"
#include "ctl/scenario/scenario.h"

namespace {

/// How soon a line that was hung up comes back.
constexpr int look_ms = 500;

std::string port_of(Scenario const& scenario, std::string const& wanted) {
    if (!wanted.empty() && scenario.wires.contains(wanted)) {
        return wanted;
    }
    if (wanted.empty() && scenario.wires.size() == 1) {
        return scenario.wires.begin()->first;
    }
    std::string names;
    for (auto const& [name, rows] : scenario.wires) {
        names += " " + name;
    }
    throw std::runtime_error(say("%s: which port? It has:%s", scenario.path, names));
}

}  // namespace

void replay(ReplayOptions const& options, std::ostream& out) {
    std::filesystem::path const path(options.scenario);
    Scenario const scenario = Scenario::read(options.scenario, path.stem().string());
    std::string const port = port_of(scenario, options.port);
    std::mutex mutex;
    auto const prepare = [&](PeerScript& script) {
        script.otherwise([&out, &mutex](std::span<unsigned char const> request) {
            std::lock_guard const lock(mutex);
            out << say("no row for %s", hex::text(request)) << std::endl;
            return Reply{};
        });
        scenario.write(port, script);
        if (options.fast) {
            script.hurry();
        }
    };
    // Ahead of the threads, which inherit that the signals are held.
    pollfd signal{end_signals(), POLLIN, 0};
    if (options.tcp >= 0) {
        TcpFarEnd peer(options.tcp);
        prepare(peer.script());
        out << "127.0.0.1:" << peer.port() << std::endl;
        poll(&signal, 1, -1);
    } else if (!options.link.empty()) {
        SerialPeer peer(options.link);
        prepare(peer.script());
        out << options.link << std::endl;
        while (poll(&signal, 1, look_ms) == 0) {
            if (!peer.is_plugged()) {
                peer.plug();
            }
        }
    } else {
        throw std::runtime_error(say("where? Either --tty LINK or --tcp PORT"));
    }
}
