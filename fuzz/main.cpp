// fuzz_random [--inputs N] [--seed S] [NAME]: feeds N inputs (100,000) to each target, or to those with NAME in theirs.
// The same seed gives the same inputs.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <random>
#include <string>

#include <getopt.h>

#include "ctl/line/hex.h"
#include "fuzz/harness.h"

namespace fuzz {

Registrar::Registrar(std::vector<Target> targets) {
    std::move(targets.begin(), targets.end(), std::back_inserter(all()));
}

std::vector<Target>& Registrar::all() {
    static std::vector<Target> targets;
    return targets;
}

namespace {

class Generator {
 public:
    explicit Generator(unsigned long seed) : engine_(seed) {}

    Bytes next(std::vector<Bytes> const& seeds, size_t longest) {
        if (seeds.empty() || below(2) == 0) {
            return random(below(longest + 1));
        }
        return changed(seeds[below(seeds.size())]);
    }

 private:
    size_t below(size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(engine_); }

    Bytes random(size_t size) {
        Bytes bytes(size);
        std::generate(bytes.begin(), bytes.end(), [this] { return static_cast<unsigned char>(below(256)); });
        return bytes;
    }

    Bytes changed(Bytes bytes) {
        for (size_t change = below(4); change > 0 && !bytes.empty(); --change) {
            auto const at = bytes.begin() + static_cast<std::ptrdiff_t>(below(bytes.size()));
            switch (below(4)) {
                case 0:
                    bytes.erase(at, bytes.end());
                    break;
                case 1:
                    bytes.erase(at);
                    break;
                case 2:
                    bytes.insert(at, static_cast<unsigned char>(below(256)));
                    break;
                default:
                    *at = static_cast<unsigned char>(below(256));
                    break;
            }
        }
        // Its own allocation, without room behind the last byte.
        bytes.shrink_to_fit();
        return bytes;
    }

    std::mt19937_64 engine_;
};

void feed(Target const& target, unsigned long inputs, unsigned long seed) {
    std::vector<Bytes> seeds;
    std::transform(target.seeds.begin(), target.seeds.end(), std::back_inserter(seeds), &hex::bytes);
    Generator generator(seed);
    unsigned long raised = 0;
    for (unsigned long index = 0; index < inputs; ++index) {
        Bytes input = generator.next(seeds, target.longest);
        try {
            target.run(input);
        } catch (std::exception const&) {
            ++raised;
        }
    }
    std::printf("%-32s %lu inputs, %lu refused by an exception\n", target.name.c_str(), inputs, raised);
    std::fflush(stdout);
}

}  // namespace

}  // namespace fuzz

int main(int argc, char** argv) {
    unsigned long inputs = 100000;
    unsigned long seed = 1;
    static constexpr option options[] = {
        {"inputs", required_argument, nullptr, 'i'}, {"seed", required_argument, nullptr, 's'}, {}};
    for (int found = 0; (found = getopt_long(argc, argv, "i:s:", options, nullptr)) != -1;) {
        if (found == 'i') {
            inputs = std::strtoul(optarg, nullptr, 10);
        } else if (found == 's') {
            seed = std::strtoul(optarg, nullptr, 10);
        } else {
            return 2;
        }
    }
    std::string const part = optind < argc ? argv[optind] : "";
    int fed = 0;
    for (fuzz::Target const& target : fuzz::Registrar::all()) {
        if (target.name.find(part) != std::string::npos) {
            fuzz::feed(target, inputs, seed);
            ++fed;
        }
    }
    return fed > 0 ? 0 : 1;
}
