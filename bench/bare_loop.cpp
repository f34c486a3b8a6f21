// The floor under the daemon: a bare loop of libmodbus reads and mosquitto_publish, with the same QoS and retained
// flag, against the same slave and broker, a pass a second. Prints for each pass a line "pass SECONDS" with the wall
// time of its reads, and a line "cpu US" with the CPU time per value in microseconds.

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

#include <modbus.h>
#include <mosquitto.h>
#include <unistd.h>

namespace {

constexpr double shortest_rest = 0.3;

double seconds_of(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fprintf(stderr, "usage: %s tcp|PATH SLAVE_PORT BROKER_PORT VALUES PASSES\n", argv[0]);
        return 2;
    }
    std::string const target = argv[1];
    int const values = std::atoi(argv[4]);
    int const passes = std::atoi(argv[5]);
    std::unique_ptr<modbus_t, decltype(&modbus_free)> const line(
        target == "tcp" ? modbus_new_tcp("127.0.0.1", std::atoi(argv[2]))
                        : modbus_new_rtu(target.c_str(), 115200, 'N', 8, 1),
        &modbus_free);
    modbus_set_slave(line.get(), 1);
    mosquitto_lib_init();
    mosquitto* const client = mosquitto_new(nullptr, true, nullptr);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    if (modbus_connect(line.get()) != 0 ||
        mosquitto_connect(client, "127.0.0.1", std::atoi(argv[3]), 60) != MOSQ_ERR_SUCCESS) {
        std::fprintf(stderr, "no slave or no broker\n");
        return 1;
    }
    mosquitto_loop_start(client);
    for (int pass = 0; pass < passes; ++pass) {
        double const before = seconds_of(CLOCK_PROCESS_CPUTIME_ID);
        double const begun = seconds_of(CLOCK_MONOTONIC);
        for (int index = 0; index < values; ++index) {
            unsigned short value = 0;
            // The simulated slave on a line has fewer registers than values are asked for.
            if (modbus_read_registers(line.get(), target == "tcp" ? index : 0, 1, &value) != 1) {
                std::fprintf(stderr, "read failed: %s\n", modbus_strerror(errno));
                return 1;
            }
            std::string const topic = "/devices/load_1/controls/p" + std::to_string(index);
            std::string const text = std::to_string(value);
            mosquitto_publish(client, nullptr, topic.c_str(), static_cast<int>(text.size()), text.data(), 2, true);
        }
        double const reads = seconds_of(CLOCK_MONOTONIC) - begun;
        std::printf("pass %.6f\n", reads);
        // The acknowledgements belong to the pass.
        usleep(static_cast<useconds_t>(std::max(shortest_rest, 1 - reads) * 1e6));
        std::printf("cpu %.3f\n", (seconds_of(CLOCK_PROCESS_CPUTIME_ID) - before) * 1e6 / values);
        std::fflush(stdout);
    }
    return 0;
}
