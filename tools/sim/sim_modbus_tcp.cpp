// A simulated Modbus TCP slave of libmodbus behind a free port of the loopback address. Answers every unit, one
// connection at a time. Prints the port when it is ready, and serves until a signal ends it. Its registers stand in
// registers.h.

#include <array>
#include <chrono>
#include <cstdio>
#include <exception>
#include <memory>

#include <modbus/modbus.h>
#include <poll.h>
#include <unistd.h>

#include "ctl/line/end_signals.h"
#include "ctl/line/listener.h"
#include "sim/registers.h"

namespace {

bool answer(modbus_t* context, sim::Registers& registers, double seconds) {
    std::array<uint8_t, MODBUS_TCP_MAX_ADU_LENGTH> request{};
    int const length = modbus_receive(context, request.data());
    if (length < 0) {
        return false;
    }
    registers.refresh(seconds);
    return length == 0 || modbus_reply(context, request.data(), length, registers.mapping()) >= 0;
}

void serve(Listener const& listener, int signals) {
    // The library asks for an address and uses none: it is given its connection instead.
    std::unique_ptr<modbus_t, decltype(&modbus_free)> const context(modbus_new_tcp("127.0.0.1", 0), &modbus_free);
    sim::Registers registers(0);
    auto const start = std::chrono::steady_clock::now();
    int connection = -1;
    for (;;) {
        std::array<pollfd, 2> awaited{
            {{signals, POLLIN, 0}, {connection < 0 ? listener.descriptor() : connection, POLLIN, 0}}};
        poll(awaited.data(), awaited.size(), -1);
        if (awaited[0].revents != 0) {
            break;
        }
        if (connection < 0) {
            connection = listener.accept();
            modbus_set_socket(context.get(), connection);
        } else if (!answer(context.get(), registers,
                           std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count())) {
            close(connection);
            connection = -1;
        }
    }
    close(connection);
}

}  // namespace

int main() {
    try {
        int const signals = end_signals();
        Listener const listener;
        std::printf("%d\n", listener.port());
        std::fflush(stdout);
        serve(listener, signals);
        return 0;
    } catch (std::exception const& e) {
        std::fprintf(stderr, "sim_modbus_tcp : %s\n", e.what());
        return 1;
    }
}
