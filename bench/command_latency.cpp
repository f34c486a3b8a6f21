// The time from the publication of a command to its frame on the line: a publisher, and a libmodbus TCP slave that
// notes when each written value arrives. Publishes the values 1 to COUNT one at a time, at irregular distances of up
// to 1.1 s, so that they fall everywhere in the second that a worker rests between its passes.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <modbus.h>
#include <mosquitto.h>
#include <unistd.h>

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

namespace {

/// What the slave has seen.
class Arrivals {
 public:
    void note(int value) {
        auto const now = Clock::now();
        std::lock_guard const guard(lock_);
        value_ = value;
        time_ = now;
        changed_.notify_all();
    }

    /// When `value` arrived; the epoch if it didn't for `limit`.
    Clock::time_point wait_for(int value, Clock::duration limit) {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, limit, [this, value] { return value_ == value; }) ? time_ : Clock::time_point();
    }

 private:
    std::mutex lock_;
    std::condition_variable changed_;
    int value_ = -1;
    Clock::time_point time_;
};

/// The value 0 is noted for the first read.
[[noreturn]] void serve(modbus_t* slave, int listener, Arrivals& arrivals) {
    constexpr int image_size = 100;
    modbus_mapping_t* const image = modbus_mapping_new(image_size, image_size, image_size, image_size);
    for (bool is_polled = false;;) {
        modbus_tcp_accept(slave, &listener);
        unsigned char request[MODBUS_TCP_MAX_ADU_LENGTH];
        for (int length = 0; length >= 0; length = modbus_receive(slave, request)) {
            if (length == 0) {
                continue;
            }
            int const function = request[modbus_get_header_length(slave)];
            bool const is_write =
                function == MODBUS_FC_WRITE_SINGLE_REGISTER || function == MODBUS_FC_WRITE_MULTIPLE_REGISTERS;
            if (is_write) {
                arrivals.note(request[length - 2] << 8 | request[length - 1]);  // in both it stands last
            } else if (!std::exchange(is_polled, true)) {
                arrivals.note(0);
            }
            modbus_reply(slave, request, length, image);
        }
        modbus_close(slave);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: %s SLAVE_PORT BROKER_PORT TOPIC COUNT\n", argv[0]);
        return 2;
    }
    constexpr std::chrono::seconds start_limit{30};
    constexpr std::chrono::seconds limit{10};
    modbus_t* const slave = modbus_new_tcp("127.0.0.1", std::atoi(argv[1]));
    int const listener = modbus_tcp_listen(slave, 1);
    Arrivals arrivals;
    std::thread(serve, slave, listener, std::ref(arrivals)).detach();

    mosquitto_lib_init();
    mosquitto* const client = mosquitto_new(nullptr, true, nullptr);
    mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1);
    if (listener < 0 || mosquitto_connect(client, "127.0.0.1", std::atoi(argv[2]), 60) != MOSQ_ERR_SUCCESS ||
        mosquitto_loop_start(client) != MOSQ_ERR_SUCCESS || arrivals.wait_for(0, start_limit) == Clock::time_point()) {
        std::fprintf(stderr, "no broker, or nobody polls\n");
        return 1;
    }
    std::this_thread::sleep_for(std::chrono::seconds(2));

    int const count = std::atoi(argv[4]);
    std::mt19937 random(1);
    std::uniform_int_distribution<int> distance_ms(0, 1100);
    std::vector<double> latencies;
    for (int value = 1; value <= count; ++value) {
        std::this_thread::sleep_for(milliseconds(distance_ms(random)));
        std::string const text = std::to_string(value);
        auto const begun = Clock::now();
        mosquitto_publish(client, nullptr, argv[3], static_cast<int>(text.size()), text.data(), 0, false);
        auto const arrived = arrivals.wait_for(value, limit);
        if (arrived != Clock::time_point()) {
            latencies.push_back(std::chrono::duration<double, std::milli>(arrived - begun).count());
        }
    }
    std::sort(latencies.begin(), latencies.end());
    if (latencies.empty()) {
        std::fprintf(stderr, "no command has arrived\n");
        return 1;
    }
    std::printf("%.2f %.2f %zu\n", latencies[latencies.size() / 2], latencies.back(), latencies.size());
    std::fflush(stdout);
    _exit(0);  // the slave's thread goes on
}
