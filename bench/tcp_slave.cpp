// A libmodbus TCP slave for the load run. Writes one line "pass SECONDS PERIOD" for each pass to standard output: the
// time from its first to its last request, and from the first request of the pass before to its own first. A pause of
// 200 ms ends a pass.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include <modbus.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int pass_pause_ms = 200;
constexpr int image_size = 10000;

double seconds(Clock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

void print_pass(Clock::time_point before, Clock::time_point first, Clock::time_point last) {
    std::printf("pass %.6f %.6f\n", seconds(last - first), seconds(first - before));
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s PORT\n", argv[0]);
        return 2;
    }
    std::unique_ptr<modbus_t, decltype(&modbus_free)> const slave(modbus_new_tcp("127.0.0.1", std::atoi(argv[1])),
                                                                  &modbus_free);
    std::unique_ptr<modbus_mapping_t, decltype(&modbus_mapping_free)> const image(
        modbus_mapping_new(image_size, image_size, image_size, image_size), &modbus_mapping_free);
    int const listener = modbus_tcp_listen(slave.get(), 64);
    if (listener < 0) {
        std::perror("listen");
        return 1;
    }
    std::vector<pollfd> sockets{{listener, POLLIN, 0}};
    bool in_pass = false;
    Clock::time_point before;
    Clock::time_point first;
    Clock::time_point last;
    for (;;) {
        if (poll(sockets.data(), sockets.size(), in_pass ? pass_pause_ms : -1) == 0) {
            print_pass(before, first, last);
            before = first;
            in_pass = false;
            continue;
        }
        for (size_t index = sockets.size(); index-- > 1;) {
            if (sockets[index].revents == 0) {
                continue;
            }
            modbus_set_socket(slave.get(), sockets[index].fd);
            unsigned char request[MODBUS_TCP_MAX_ADU_LENGTH];
            int const length = modbus_receive(slave.get(), request);
            if (length > 0) {
                modbus_reply(slave.get(), request, length, image.get());
                last = Clock::now();
                first = in_pass ? first : last;
                in_pass = true;
            } else if (length < 0) {
                close(sockets[index].fd);
                sockets.erase(sockets.begin() + static_cast<std::ptrdiff_t>(index));
            }
        }
        if ((sockets[0].revents & POLLIN) != 0) {
            int const peer = accept(listener, nullptr, nullptr);
            int const on = 1;
            setsockopt(peer, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
            sockets.push_back({peer, POLLIN, 0});
        }
    }
}
