// A simulated device of the kind that its first argument names:
//
//   sim_device KIND NUMBER PATH    on a pseudo-terminal, which it makes under that path
//   sim_device KIND NUMBER tcp     behind a free TCP port of the loopback address
//
// Prints the path or the port when it is ready, and serves until a signal ends it.

#include <array>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>

#include <poll.h>
#include <unistd.h>

#include "ctl/line/end_signals.h"
#include "ctl/line/listener.h"
#include "ctl/line/pty_line.h"
#include "sim/device.h"

namespace {

/// A request ends with a pause of this length.
constexpr int request_pause_ms = 5;

class Session {
 public:
    Session(sim::Device& device, int signals) : device_(device), signals_(signals) {}

    /// Answers on the descriptor until it ends; false when the process shall end.
    bool serve(int line) {
        sim::Bytes request;
        for (;;) {
            std::array<pollfd, 2> awaited{{{signals_, POLLIN, 0}, {line, POLLIN, 0}}};
            int const ready = poll(awaited.data(), awaited.size(), request.empty() ? -1 : request_pause_ms);
            if (awaited[0].revents != 0) {
                return false;
            }
            if (ready == 0) {
                reply(line, request);
                request.clear();
            } else if (awaited[1].revents != 0) {
                std::array<uint8_t, 2048> piece{};
                ssize_t const got = read(line, piece.data(), piece.size());
                if (got <= 0) {
                    return true;
                }
                request.insert(request.end(), piece.begin(), piece.begin() + got);
            }
        }
    }

    /// Waits until there is something to do; false when the process shall end.
    bool wait_for(int descriptor) const {
        std::array<pollfd, 2> awaited{{{signals_, POLLIN, 0}, {descriptor, POLLIN, 0}}};
        return poll(awaited.data(), awaited.size(), -1) > 0 && awaited[0].revents == 0;
    }

 private:
    void reply(int line, sim::Bytes const& request) {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        auto const seconds = static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
        sim::Bytes const answer = device_.answer(request, seconds);
        for (size_t sent = 0; sent < answer.size();) {
            ssize_t const piece = write(line, answer.data() + sent, answer.size() - sent);
            if (piece <= 0) {
                return;
            }
            sent += static_cast<size_t>(piece);
        }
    }

    sim::Device& device_;
    int signals_;
};

void ready(std::string const& place) {
    std::printf("%s\n", place.c_str());
    std::fflush(stdout);
}

void serve_line(Session& session, std::string const& path) {
    PtyLine const terminal(path);
    ready(path);
    session.serve(terminal.master());
}

void serve_tcp(Session& session) {
    Listener const listener;
    ready(std::to_string(listener.port()));
    while (session.wait_for(listener.descriptor())) {
        int const connection = listener.accept();
        bool const go_on = connection < 0 || session.serve(connection);
        close(connection);
        if (!go_on) {
            return;
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::unique_ptr<sim::Device> const device = argc == 4 ? sim::make_device(argv[1], argv[2]) : nullptr;
    if (!device) {
        std::fprintf(stderr, "usage: %s KIND NUMBER PATH|tcp\n", argv[0]);
        return 2;
    }
    try {
        Session session(*device, end_signals());
        if (std::string const place = argv[3]; place == "tcp") {
            serve_tcp(session);
        } else {
            serve_line(session, place);
        }
        return 0;
    } catch (std::exception const& e) {
        std::fprintf(stderr, "%s : %s\n", argv[0], e.what());
        return 1;
    }
}
