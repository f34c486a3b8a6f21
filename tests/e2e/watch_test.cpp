// `ostrandctl watch` in a real terminal, and where there is none.

#include <chrono>
#include <csignal>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/child_process.h"
#include "support/free_port.h"
#include "support/mqtt_probe.h"
#include "support/temp_folder.h"

using std::chrono::seconds;

namespace {

Outcome run(std::vector<std::string> const& command) {
    return run_to_end({command, {{"LC_ALL", "C.UTF-8"}}});
}

/// A terminal of 80 columns and 24 lines with a shell in it. It ends with the test, however that ends.
class Screen {
 public:
    Screen() {
        wait_until([this] { return access(socket_.c_str(), F_OK) == 0; }, seconds(10));
        tell({"new-session", "-d", "-x", "80", "-y", "24", "sh"});
    }

    std::string text() const { return tell({"capture-pane", "-p"}); }
    bool shows(std::string const& wanted) const {
        return wait_until([&] { return text().find(wanted) != std::string::npos; }, seconds(20));
    }
    bool loses(std::string const& unwanted) const {
        return wait_until([&] { return text().find(unwanted) == std::string::npos; }, seconds(20));
    }
    /// Names of keys, or letters.
    void press(std::vector<std::string> keys) const {
        keys.insert(keys.begin(), "send-keys");
        tell(std::move(keys));
    }
    void resize(int columns, int lines) const {
        tell({"resize-window", "-x", std::to_string(columns), "-y", std::to_string(lines)});
    }

 private:
    std::string tell(std::vector<std::string> command) const {
        command.insert(command.begin(), {"/usr/bin/tmux", "-u", "-S", socket_});
        return run(command).output;
    }

    TempFolder folder_;
    std::string socket_ = folder_.file("socket");
    ChildProcess server_{{{"/usr/bin/tmux", "-u", "-S", socket_, "-f", "/dev/null", "-D"}, {{"LC_ALL", "C.UTF-8"}}}};
};

std::vector<std::string> watch(int port, std::vector<std::string> const& more) {
    std::vector<std::string> command = {OSTRANDCTL_BINARY, "watch", "--port", std::to_string(port)};
    command.insert(command.end(), more.begin(), more.end());
    return command;
}

/// A shell's line that watches, and tells at the end the status and whether the terminal is as it was.
std::string watch_line(int port) {
    return "S=$(stty -g); " + std::string(OSTRANDCTL_BINARY) + " watch -p " + std::to_string(port) +
           "; echo status=$?; [ \"$S\" = \"$(stty -g)\" ] && echo as it was";
}

std::string const temperature = "/devices/boiler_17/controls/temperature";
std::string const flow = "/devices/pump_3/controls/flow";

}  // namespace

TEST(Watch, ShowsValuesErrorsAndFailedDevicesAndWrites) {
    Broker const broker;
    MqttProbe probe(broker.port());
    probe.publish(temperature, "21.5 °C", 2, true);
    Screen const screen;
    screen.press({watch_line(broker.port()), "Enter"});
    ASSERT_TRUE(screen.shows("  boiler_17/temperature           21.5 °C                >")) << screen.text();

    probe.publish(temperature, "21.9 °C", 2, true);
    probe.publish(temperature, "23.0 °C", 2, true);
    EXPECT_TRUE(screen.shows("  boiler_17/temperature           23.0 °C")) << screen.text();
    EXPECT_TRUE(screen.shows("↑ ▁▃█")) << screen.text();
    probe.publish(flow + "/meta/error", "r", 0);
    probe.publish("stat/line1/poll", "Статистика line1 : опросов = 9 : ошибок = 3 [ 33.00 ] : вне диапазона = 0.", 0);
    EXPECT_TRUE(screen.shows("! pump_3/flow")) << screen.text();
    EXPECT_TRUE(screen.shows("ports 1: polls 9, errors 3, out of range 0")) << screen.text();
    probe.publish("/devices/error", "pump_3");
    EXPECT_TRUE(screen.shows("x pump_3/flow")) << screen.text();
    EXPECT_TRUE(screen.shows("failed: pump_3")) << screen.text();
    probe.publish(flow, "3");
    EXPECT_TRUE(screen.shows("  pump_3/flow                     3")) << screen.text();

    screen.press({"/", "temp"});
    EXPECT_TRUE(screen.loses("pump_3/flow")) << screen.text();
    EXPECT_TRUE(screen.shows("1 of 2 values")) << screen.text();
    screen.press({"Enter", "w", "25", "Enter"});
    EXPECT_TRUE(screen.shows("send '25' to boiler_17/temperature?")) << screen.text();
    EXPECT_EQ(probe.count(temperature + "/on"), 0);
    screen.press({"y"});
    EXPECT_TRUE(screen.shows("the broker has it: 25")) << screen.text();
    auto const written = probe.wait_for(temperature + "/on", "25", seconds(5));
    ASSERT_TRUE(written) << probe.text();
    EXPECT_EQ(written->qos, 2);
    EXPECT_FALSE(MqttProbe(broker.port()).wait_for(temperature + "/on", seconds(1))) << "retained";

    screen.resize(50, 10);
    EXPECT_TRUE(screen.shows("age   errors\n")) << screen.text();
    screen.press({"Escape", "q"});
    EXPECT_TRUE(screen.shows("status=0\nas it was")) << screen.text();
    EXPECT_EQ(screen.text().find("23.0 °C"), std::string::npos) << screen.text();
}

TEST(Watch, TellsThatTheBrokerIsAwayAndComesBack) {
    Broker broker;
    Screen const screen;
    screen.press({watch_line(broker.port()), "Enter"});
    EXPECT_TRUE(screen.shows("0 of 0 values")) << screen.text();
    broker.stop();
    EXPECT_TRUE(screen.shows("no connection:")) << screen.text();
    broker.start();
    EXPECT_TRUE(screen.loses("no connection:")) << screen.text();
    EXPECT_TRUE(MqttProbe(broker.port()).publish(flow, "4", 2, true));
    EXPECT_TRUE(screen.shows("  pump_3/flow                     4")) << screen.text();
    screen.press({"C-c"});
    EXPECT_TRUE(screen.shows("status=0\nas it was")) << screen.text();
}

TEST(Watch, OnceGivesPlainTextAndItsStatus) {
    Broker const broker;
    MqttProbe probe(broker.port());
    probe.publish(temperature, "21.5 °C", 2, true);
    probe.publish(flow, "\x1B[2J", 2, true);
    // Without a terminal it needn't be told.
    Outcome const all = run(watch(broker.port(), {}));
    EXPECT_EQ(all.status, 0);
    EXPECT_EQ(std::regex_replace(all.output, std::regex(">\\d:\\d\\d"), "AGE"),
              "   name                   value    age    errors\n"
              "   boiler_17/temperature  21.5 °C  AGE\n"
              "   pump_3/flow            \\x1B[2J  AGE\n");
    Outcome const none = run(watch(broker.port(), {"--once", "--seconds", "1", "kettle"}));
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.output, "ostrandctl: no values came that fit 'kettle'\n");

    FreePort const free;
    EXPECT_EQ(run(watch(free.number(), {"--once"})).status, 1);
    TempFolder const folder;
    std::string const file = R"({"mqtt": {"url": "127.0.0.1", "port": )" + std::to_string(broker.port()) + "}}";
    std::string const config = folder.write("ostrand.json", file);
    EXPECT_EQ(run({OSTRANDCTL_BINARY, "watch", "--once", "-c", config, "flow"}).status, 0);
    EXPECT_EQ(run({OSTRANDCTL_BINARY, "watch", "--once", "-c", folder.path()}).status, 2);
}
