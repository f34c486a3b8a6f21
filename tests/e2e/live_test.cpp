// One poll or write by the companion, against the simulated devices.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include "config/process.h"
#include "ctl/check/loading.h"
#include "ctl/json_text.h"
#include "ctl/line/wait_until.h"
#include "foundation/jutils.h"
#include "support/broker.h"
#include "support/child_process.h"
#include "support/temp_folder.h"
#include "topics/topic_list.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;

class LiveTest : public testing::Test {
 protected:
    void SetUp() override {
        Json::Value config = xCommon::jUtils::Load(SOURCE_DIR "/examples/demo.json");
        config["mqtt"]["port"] = broker_.port();
        for (Json::Value& port : config["ports"]) {
            Json::Value& params = port["devices"][0]["params"];
            if (port["name"] == "cabinet") {
                xCommon::jUtils::Parse(R"({"name": "clear", "type": "dcon", "cmd": 15})", params.append({}));
            } else if (port["name"] == "cellar") {
                xCommon::jUtils::Parse(R"({"name": "limit", "class_id": 3, "object_id": "0.0.96.1.0.255",
                    "attr_id": 2, "value_type": "u32", "read_only": false})",
                                       params.append({}));
            }
        }
        templates_folder() = SOURCE_DIR "/templates";
        simulation_ = start({"simulate", folder_.write("plant.json", json_text(config)), "--output", desk_}, -1);
        ASSERT_TRUE(wait_until([&] { return fs::exists(desk_) && !fs::is_empty(desk_); }, seconds(30)));
    }

    static std::unique_ptr<ChildProcess> start(std::vector<std::string> arguments, int output) {
        ChildProcess::Launch launch;
        launch.output = output;
        launch.command = {OSTRANDCTL_BINARY};
        arguments.insert(arguments.end(), {"--templates", SOURCE_DIR "/templates"});
        launch.command.insert(launch.command.end(), arguments.begin(), arguments.end());
        return std::make_unique<ChildProcess>(launch);
    }

    /// The status; what it printed is in `said_`.
    int run(std::vector<std::string> const& arguments) {
        std::string const path = folder_.file("said");
        int const output = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        auto const status = start(arguments, output)->wait_exit(seconds(60));
        close(output);
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        said_ = text.str();
        return status.value_or(-1);
    }

    TempFolder folder_;
    Broker broker_;
    std::string desk_ = folder_.file("desk.json");
    std::unique_ptr<ChildProcess> simulation_;
    std::string said_;
};

}  // namespace

TEST_F(LiveTest, EveryDriverIsReadOnce) {
    Loading const loading(desk_);
    ASSERT_NE(loading.config, nullptr);
    std::set<std::string> missing;
    {
        LogListener const silence([](auto...) {});
        for (TopicRow const& row : list_topics(*loading.config, loading.gpio.get(), IdlePorts(*loading.config))) {
            std::string const name = xCommon::xString::Split(row.topic, "/")[1] + "/" + row.parameter;
            // What comes by itself, and what isn't asked for values yet.
            if (row.is_read && row.port != "tasmota" && row.port != "hall") {
                missing.insert(name);
            }
        }
    }
    ASSERT_GE(missing.size(), 40U);
    EXPECT_EQ(run({"read", desk_, "--all"}), 1);
    std::istringstream lines(said_);
    for (std::string line; std::getline(lines, line);) {
        missing.erase(line.substr(0, line.find(" = ")));
    }
    EXPECT_TRUE(missing.empty()) << *missing.begin() << "\n" << said_;
    EXPECT_NE(said_.find("Start : ответ не получен.\n  hall_12/energy\n"), std::string::npos) << said_;

    EXPECT_EQ(run({"read", desk_, "intake/voltage", "Счётчик воды, подвал/pulses", "io_1", "-x"}), 0) << said_;
    EXPECT_NE(said_.find("intake_21/voltage = "), std::string::npos) << said_;
    EXPECT_NE(said_.find("io_1/state_door = "), std::string::npos) << said_;
    EXPECT_NE(said_.find("→ 12 04 00 01 00 02 22 A8  +"), std::string::npos) << said_;
    EXPECT_NE(said_.find("address 12, function 04, register 00 01, count 00 02, crc 22 A8"), std::string::npos);
    EXPECT_EQ(run({"read", desk_, "kitchen/humidity"}), 1);
    EXPECT_EQ(run({"read", desk_, "intake/voltige"}), 1);
    EXPECT_NE(said_.find("intake_21/voltage"), std::string::npos) << said_;
}

TEST_F(LiveTest, EveryDriverThatTakesWritesIsWrittenOnce) {
    struct Row {
        char const* what;
        char const* value;
        int status;
        char const* said;
    };
    Row const rows[] = {
        {"boiler/set_point", "22.5", 0, "boiler_17/set_point = 22.50 °C"},
        {"boiler/outputs_fan", "1", 0, "boiler_17/outputs_fan = 1"},
        {"pumps_2/set_point", "19", 0, "pumps_2/set_point = 19.00 °C"},
        {"pump_meter/limit", "70", 0, "pump_meter/limit = 70"},
        {"io/clear", "0", 0, "io_1/clear: written"},
        {"media/scene", "1.2.255", 0, "media/scene: written"},
        {"boiler/lamp", "2", 1, "boiler_17/lamp: "},
        {"boiler/temperature", "2", 1, "can't be written"},
        {"boiler", "2", 1, "which parameter"},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(run({"write", desk_, row.what, row.value}), row.status) << row.what << "\n" << said_;
        EXPECT_NE(said_.find(row.said), std::string::npos) << row.what << "\n" << said_;
    }
}

TEST_F(LiveTest, ALineThatSomebodyHoldsIsLeftAlone) {
    std::string path;
    Json::Value const desk = xCommon::jUtils::Load(desk_);
    for (Json::Value const& port : desk["ports"]) {
        path = port["name"] == "line1" ? port["rs"]["path"].asString() : path;
    }
    int const holder = open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(flock(holder, LOCK_SH | LOCK_NB), 0);
    EXPECT_EQ(run({"read", desk_, "boiler/lamp"}), 1);
    EXPECT_NE(said_.find(path + ": another process holds the line: " + std::to_string(getpid()) + " ("),
              std::string::npos)
        << said_;
    EXPECT_EQ(run({"read", desk_, "boiler/lamp", "--force"}), 0) << said_;
    close(holder);
}
