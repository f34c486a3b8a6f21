// A line of Modbus RTU slaves on a pseudo-terminal, of which the first ones are dead: they stand first, so that each
// pass ends with a request that is answered. Tells the passes, see passes.h.

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include <poll.h>
#include <unistd.h>

#include "ctl/line/pty_line.h"
#include "ctl/simulate/bytes.h"
#include "passes.h"

namespace {

/// Longer than a time-out for an answer, shorter than what a worker rests.
constexpr std::chrono::milliseconds pass_pause{700};
constexpr int look_ms = 50;
constexpr size_t request_size = 8;

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s PATH DEAD\n", argv[0]);
        return 2;
    }
    try {
        PtyLine const terminal(argv[1]);
        int const dead = std::atoi(argv[2]);
        Passes passes(pass_pause, 1);
        sim::Bytes request;
        for (;;) {
            passes.tell_end();
            pollfd line{terminal.master(), POLLIN, 0};
            if (poll(&line, 1, look_ms) <= 0) {
                request.clear();
                continue;
            }
            uint8_t piece[request_size];
            ssize_t const got = read(line.fd, piece, request_size - request.size());
            request.insert(request.end(), piece, piece + (got > 0 ? got : 0));
            if (request.size() < request_size) {
                continue;
            }
            passes.note_request();
            if (request[0] > dead && sim::has_crc(request)) {
                sim::Bytes answer = {request[0], request[1], static_cast<uint8_t>(2 * request[5])};
                answer.resize(answer.size() + answer[2]);
                answer = sim::with_crc(answer);
                if (write(line.fd, answer.data(), answer.size()) < 0) {
                    return 1;
                }
            }
            request.clear();
        }
    } catch (std::exception const& e) {
        std::fprintf(stderr, "%s : %s\n", argv[0], e.what());
        return 1;
    }
}
