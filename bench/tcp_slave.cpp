// A libmodbus TCP slave for the load runs. Tells the passes of each connection, see passes.h.

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

#include "passes.h"

namespace {

constexpr std::chrono::milliseconds pass_pause{200};
constexpr int look_ms = 50;
constexpr int image_size = 10000;

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
    // The listener stands ahead of the connections, with passes that never begin.
    std::vector<pollfd> sockets{{listener, POLLIN, 0}};
    std::vector<Passes> passes{{pass_pause, 0}};
    for (int accepted = 0;;) {
        poll(sockets.data(), sockets.size(), look_ms);
        for (Passes& line : passes) {
            line.tell_end();
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
                passes[index].note_request();
            } else if (length < 0) {
                close(sockets[index].fd);
                sockets.erase(sockets.begin() + static_cast<std::ptrdiff_t>(index));
                passes.erase(passes.begin() + static_cast<std::ptrdiff_t>(index));
            }
        }
        if ((sockets[0].revents & POLLIN) != 0) {
            int const peer = accept(listener, nullptr, nullptr);
            int const on = 1;
            setsockopt(peer, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
            sockets.push_back({peer, POLLIN, 0});
            passes.emplace_back(pass_pause, ++accepted);
        }
    }
}
