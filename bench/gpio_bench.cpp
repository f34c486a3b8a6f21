// What the GPIO loop costs: processor time with polled lines, what 10,000 turns leave behind, and pulses at 100 Hz.
//   gpio_bench BROKER_PORT FOLDER, with OSTRAND_TEST_ROOT set to that folder

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "foundation/jutils.h"
#include "gpio/worker.h"
#include "support/gpio_fuse.h"
#include "support/gpio_tree.h"

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

namespace {

class Worker : public xgpio::worker {
 public:
    using xgpio::worker::lines;
    using xgpio::worker::turn;
    using xgpio::worker::worker;
};

std::unique_ptr<xgpio::config_t> driver(int broker_port, int wto, std::vector<int> const& numbers, char const* type) {
    Json::Value block;
    block["name"] = "bench";
    block["mqtt"]["port"] = broker_port;
    block["wto"] = wto;
    for (int const number : numbers) {
        Json::Value channel;
        channel["name"] = "line" + std::to_string(number);
        channel["gpio"] = number;
        channel["type"] = type;
        channel["edge"] = "both";
        block["channels"].append(channel);
    }
    return xgpio::config_t::Load(block);
}

/// Processor time of this process, ms.
double cpu_ms() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    double sum = 0;
    for (timeval const& time : {usage.ru_utime, usage.ru_stime}) {
        sum += static_cast<double>(time.tv_sec) * 1000 + static_cast<double>(time.tv_usec) / 1000;
    }
    return sum;
}

int descriptors() {
    int count = 0;
    DIR* folder = opendir("/proc/self/fd");
    while (readdir(folder) != nullptr) {
        ++count;
    }
    closedir(folder);
    return count;
}

void polled_lines(int port, std::string const& root) {
    std::vector<int> const numbers = {1, 2, 3, 4, 5, 6, 7, 8};
    GpioTree const tree(root, numbers);
    Worker worker(driver(port, 500, numbers, "base"));
    if (!worker.Start() || !worker.mq_start()) {
        return;
    }
    worker.turn();
    constexpr int turns = 60;
    double const before = cpu_ms();
    auto const begun = Clock::now();
    for (int turn = 0; turn < turns; ++turn) {
        worker.turn();
    }
    double const wall = std::chrono::duration<double, std::milli>(Clock::now() - begun).count();
    std::printf("8 polled lines, wto 500: %.2f %% of a core, %.1f ms a turn beyond wto\n",
                (cpu_ms() - before) / wall * 100, wall / turns - 500);
}

void many_turns(int port, std::string const& root) {
    GpioTree const tree(root, {1});
    Worker worker(driver(port, 1, {1}, "base"));
    if (!worker.Start() || !worker.mq_start()) {
        return;
    }
    worker.turn();
    int const before = descriptors();
    for (int turn = 0; turn < 10000; ++turn) {
        worker.turn();
    }
    std::printf("10000 turns: %d descriptors more, %s\n", descriptors() - before,
                waitpid(-1, nullptr, WNOHANG) < 0 ? "no child left" : "CHILDREN LEFT");
}

void pulses(int port, std::string const& root) {
    GpioFuse tree(root, {1});
    if (!tree.is_mounted()) {
        std::puts("pulses at 100 Hz: not run, no FUSE here");
        return;
    }
    Worker worker(driver(port, 500, {1}, "electro"));
    if (!worker.Run() || !tree.wait(1, std::chrono::seconds(10), [](auto const& line) { return line.touches >= 2; })) {
        return;
    }
    constexpr int count = 1000;
    auto next = Clock::now();
    for (int edge = 0; edge < 2 * count; ++edge) {
        tree.set_level(1, edge % 2 == 0 ? '1' : '0');
        next += milliseconds(5);
        std::this_thread::sleep_until(next);
    }
    worker.Stop();
    std::printf("pulses at 100 Hz: %.0f of %d counted\n", static_cast<double>(worker.lines.at(0)->current), count);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    int const port = std::atoi(argv[1]);
    polled_lines(port, argv[2]);
    many_turns(port, argv[2]);
    pulses(port, argv[2]);
    return 0;
}
