// Each scenario file is a test, or two: Scenario.emera/faults in process, ScenarioWhole.emera/faults with the binary.

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "scenario/runners.h"
#include "support/temp_folder.h"

namespace {

/// As for the other tests: the paths of the product are read while static objects are made.
struct TestRoot {
    TestRoot() { setenv("OSTRAND_TEST_ROOT", folder.path().c_str(), 1); }
    TempFolder folder;
};
[[gnu::init_priority(1000)]] TestRoot const root;

using Runner = void (*)(Scenario const&);

class ScenarioTest : public testing::Test {
 public:
    ScenarioTest(Scenario scenario, Runner runner) : scenario_(std::move(scenario)), runner_(runner) {}
    void TestBody() override {
        if (scenario_.fault.empty()) {
            runner_(scenario_);
        } else {
            ADD_FAILURE() << scenario_.fault;
        }
    }

 private:
    Scenario scenario_;
    Runner runner_;
};

void enter(char const* suite, Scenario const& scenario, Runner runner) {
    testing::RegisterTest(suite, scenario.name.c_str(), nullptr, nullptr, scenario.path.c_str(), 1,
                          [scenario, runner]() -> testing::Test* { return new ScenarioTest(scenario, runner); });
}

}  // namespace

bool are_frames(std::vector<std::string> const& sent, std::vector<std::string> const& wanted) {
    return std::equal(sent.begin(), sent.end(), wanted.begin(), wanted.end(),
                      [](std::string const& frame, std::string const& pattern) {
                          return frame_text::equals(frame_text::pattern(pattern), hex::bytes(frame));
                      });
}

bool was_sent(std::vector<std::string> const& sent, Step const& step) {
    frame_text::Pattern const wanted = frame_text::pattern(step.text);
    auto const count = std::count_if(sent.begin(), sent.end(), [&wanted](std::string const& frame) {
        return wanted.empty() || frame_text::equals(wanted, hex::bytes(frame));
    });
    return step.times > 0 ? count == step.times : count > 0;
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::filesystem::path const folder = SOURCE_DIR "/tests/scenarios";
    std::vector<std::filesystem::path> files;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() == ".scn") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    for (std::filesystem::path const& file : files) {
        std::string const name = std::filesystem::relative(file, folder).replace_extension().string();
        Scenario scenario;
        try {
            scenario = Scenario::read(file.string(), name);
        } catch (std::exception const& e) {
            // A test that fails, so that the others still run.
            scenario.name = name;
            scenario.fault = e.what();
        }
        if (scenario.in_process) {
            enter("Scenario", scenario, run_in_process);
        }
        if (scenario.whole) {
            enter("ScenarioWhole", scenario, run_whole);
        }
    }
    return RUN_ALL_TESTS();
}
