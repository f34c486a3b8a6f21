// fuzz_random [--inputs N] [NAME]: feeds N inputs (100,000) to each target, or to those with NAME in theirs. They are
// the same at each run.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "ctl/line/frame_text.h"
#include "ctl/scenario/scenario.h"
#include "fuzz/harness.h"

namespace fuzz {

namespace {

class Generator {
 public:
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

Bytes bytes_of(std::string const& text) {
    return {text.begin(), text.end()};
}

/// What a reply of a scenario's wire is, without its ends.
Bytes reply_of(WireRow const& row, Seeds const& wanted) {
    Bytes request;
    if (row.request != "*") {
        for (int const byte : frame_text::pattern(row.request)) {
            request.push_back(static_cast<unsigned char>(std::max(byte, 0)));
        }
    }
    Bytes reply = frame_text::reply(row.reply.hex, request, 0);
    reply.resize(reply.size() - std::min(reply.size(), wanted.dropped));
    reply.erase(reply.begin(), reply.begin() + static_cast<std::ptrdiff_t>(std::min(reply.size(), wanted.skipped)));
    return reply;
}

std::vector<Bytes> seeds_of(Target const& target) {
    using Kind = Seeds::Kind;
    std::vector<Bytes> seeds;
    for (std::string const& text : target.more) {
        seeds.push_back(frame_text::reply(text, {}, 0));
    }
    Seeds const& wanted = target.seeds;
    if (wanted.kind == Kind::none) {
        return seeds;
    }
    for (auto const& entry :
         std::filesystem::recursive_directory_iterator(SOURCE_DIR "/tests/scenarios/" + wanted.folder)) {
        if (entry.path().extension() != ".scn") {
            continue;
        }
        Scenario const scenario = Scenario::read(entry.path().string(), "");
        if (wanted.kind == Kind::files) {
            std::ostringstream text;
            text << std::ifstream(entry.path()).rdbuf();
            seeds.push_back(bytes_of(text.str()));
        } else if (wanted.kind == Kind::configurations) {
            seeds.push_back(bytes_of(scenario.config.toStyledString()));
        } else {
            for (auto const& [port, rows] : scenario.wires) {
                std::transform(rows.begin(), rows.end(), std::back_inserter(seeds),
                               [&wanted](WireRow const& row) { return reply_of(row, wanted); });
            }
        }
    }
    return seeds;
}

void feed(Target const& target, unsigned long inputs) {
    std::vector<Bytes> const seeds = seeds_of(target);
    Generator generator;
    unsigned long raised = 0;
    for (unsigned long index = 0; index < inputs / target.cost; ++index) {
        Bytes input = generator.next(seeds, target.longest);
        try {
            target.run(input);
        } catch (std::exception const&) {
            ++raised;
        }
    }
    std::printf("%-32s %lu inputs from %zu seeds, %lu refused by an exception\n", target.name.c_str(),
                inputs / target.cost, seeds.size(), raised);
    std::fflush(stdout);
}

}  // namespace

}  // namespace fuzz

int main(int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    unsigned long inputs = 100000;
    if (words.size() >= 2 && words[0] == "--inputs") {
        inputs = std::stoul(words[1]);
        words.erase(words.begin(), words.begin() + 2);
    }
    bool fed = false;
    for (fuzz::Target const& target : fuzz::targets()) {
        if (words.empty() || target.name.find(words[0]) != std::string::npos) {
            fuzz::feed(target, inputs);
            fed = true;
        }
    }
    return fed ? 0 : 1;
}
