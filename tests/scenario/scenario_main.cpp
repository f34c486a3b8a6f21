// Each scenario file is a test, or two: Scenario.emera/faults in process, ScenarioWhole.emera/faults with the binary.

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "scenario/scenario.h"

namespace {

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
