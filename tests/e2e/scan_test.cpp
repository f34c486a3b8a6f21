// The scan of the real companion on a pseudo-terminal, and the daemon by the configuration that it leaves.

#include <chrono>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include "ctl/line/hex.h"
#include "ctl/line/serial_peer.h"
#include "support/broker.h"
#include "support/child_process.h"
#include "support/daemon.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"

using std::chrono::seconds;
using testing::HasSubstr;

namespace {

constexpr auto limit = seconds(60);

class ScanProcessTest : public testing::Test {
 protected:
    int run(std::vector<std::string> const& arguments) {
        ChildProcess::Launch launch;
        launch.command = {OSTRANDCTL_BINARY, "scan", "--tty", peer.path()};
        launch.command.insert(launch.command.end(), arguments.begin(), arguments.end());
        launch.environment = {{"LC_ALL", "C"}};
        Outcome outcome = run_to_end(launch, limit);
        text = std::move(outcome.output);
        return outcome.status;
    }
    static std::string content_of(std::string const& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator(file), {}};
    }
    void on(unsigned int baudrate, std::string const& request, std::string const& reply) {
        peer.script().on(request, Reply{.hex = reply, .baudrate = baudrate});
    }

    TempFolder folder;
    SerialPeer peer{folder.file("line")};
    std::string text;
};

TEST_F(ScanProcessTest, FiveDevicesOfFourProtocolsAreFoundAndPublished) {
    auto const crc = [](char const* frame) { return hex::with_crc16(frame); };
    on(9600, crc("02 04 00 00 00 01"), crc("02 04 02 00 D7"));
    on(19200, crc("11 04 00 00 00 01"), crc("11 04 02 00 2A"));
    on(19200, R"("$072BD\r")", R"("!07400680BA\r")");
    on(9600, "2F 3F 33 21 01 52 31 02 45 54 30 50 45 28 29 03 37", "02 45 54 30 50 45 28 31 2E 35 29 03 46");
    on(9600, crc("05 00"), crc("05 00"));
    on(9600, "05 01 01 07 03 08 02 00 05 C2 B8", crc("05 00"));
    on(9600, crc("05 02"), crc("05 00"));
    peer.script().on(crc("05 05 00 00"), "05 00 00 D2 04 FF FF FF FF 01 00 02 00 FF FF FF FF 6A C8");
    std::string const file = folder.file("found.json");
    ASSERT_EQ(run({"--baudrate", "9600,19200", "--protocol", "modbus,dcon,emera,mercury", "--address", "2-3,5,7,17",
                   "--timeout", "400", "--output", file}),
              0)
        << text;

    Broker broker;
    MqttProbe const probe(broker.port());
    Daemon daemon;
    Json::Value config = sample::json(content_of(file));
    EXPECT_EQ(config["ports"][0]["devices"].size(), 5U) << text;
    config["mqtt"]["port"] = broker.port();
    daemon.start_with(config);
    for (auto const& [topic, value] :
         std::vector<std::pair<std::string, std::string>>{{"modbus_2/controls/input_0", "215"},
                                                          {"modbus_17/controls/input_0", "42"},
                                                          {"dcon_7/controls/setup", "400680"},
                                                          {"emera_3/controls/energy", "1.5 kWh"},
                                                          {"mercury_5/controls/energy", "1234 Wh"}}) {
        EXPECT_TRUE(probe.wait_for("/devices/" + topic, value, limit)) << topic << "\n"
                                                                       << probe.text() << daemon.log().text();
    }
    daemon.stop();
}

TEST_F(ScanProcessTest, AHeldLineIsLeftAloneUnlessForced) {
    int const holder = open(peer.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(flock(holder, LOCK_SH | LOCK_NB), 0);
    LineSettings const before = peer.settings();
    std::vector<std::string> const some = {"--protocol", "modbus", "--address",  "1",
                                           "--timeout",  "30",     "--baudrate", "4800"};
    EXPECT_EQ(run(some), 1);
    EXPECT_THAT(text, HasSubstr("holds the line: " + std::to_string(getpid()) + " ("));
    EXPECT_TRUE(peer.requests().empty());
    EXPECT_EQ(peer.settings(), before);
    std::vector<std::string> forced = some;
    forced.emplace_back("--force");
    EXPECT_EQ(run(forced), 1);
    EXPECT_THAT(text, HasSubstr("nobody answers"));
    EXPECT_TRUE(peer.wait_for("01 04 00 00 00 01 31 CA", limit));
    close(holder);
}

}  // namespace
