// An ordered end, in whatever state: the closing line in the log and status 1, within two seconds.

#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/sample_config.h"

using std::chrono::seconds;

namespace {

constexpr char closing_line[] = "Универсальный драйвер : версия 2.28 : конец работы.";

Json::Value null_port_config(int broker_port) {
    Json::Value config = sample::root(broker_port);
    config["ports"].append(sample::json(R"({"name": "p", "type": "base.null", "poll_interval": 0, "devices": [
        {"name": "d", "type": "mb-rtu", "sid": 17, "params": [{"name": "a", "reg_addr": 1, "value_type": "u16"}]}]})"));
    return config;
}

/// A file whose normalisation has no end.
Json::Value endless_config() {
    return sample::json(R"({"ports": [{"connection": {"name": "t", "type": "base.tcp"},
        "devices": [{"name": "d", "cname": "c", "type": "mb-rtu"}], "parameters": [{"cname": "c"}]}]})");
}

}  // namespace

TEST(EndOfProcess, InEveryState) {
    Broker broker;
    struct State {
        char const* name;
        std::function<void(Daemon&)> reach;
    };
    State const states[] = {
        {"searching",
         [](Daemon& daemon) {
             daemon.start();
             ASSERT_TRUE(daemon.log().wait_for("Режим ожидания...", seconds(5)));
         }},
        {"the pause ahead of loading",
         [&broker](Daemon& daemon) {
             daemon.start_with(null_port_config(broker.port()));
             ASSERT_TRUE(daemon.log().wait_for("начало работы :", seconds(5)));
         }},
        {"loading",
         [](Daemon& daemon) {
             daemon.start_with(endless_config());
             ASSERT_TRUE(daemon.log().wait_for("разбор файла не завершится", seconds(10)));
         }},
        {"polling",
         [&broker](Daemon& daemon) {
             daemon.start_with(null_port_config(broker.port()));
             ASSERT_TRUE(daemon.log().wait_for("ответ получен : 5", seconds(10)));
         }},
        {"broker away",
         [](Daemon& daemon) {
             daemon.start_with(null_port_config(1));
             ASSERT_TRUE(daemon.log().wait_for("Попытки продолжаются.", seconds(10)));
         }},
        {"about to be replaced",
         [&broker](Daemon& daemon) {
             std::string const path = daemon.write_config(null_port_config(broker.port()));
             daemon.start({"-c", path});
             ASSERT_TRUE(daemon.wait_running());
             daemon.write_config(null_port_config(broker.port()));
             ASSERT_TRUE(daemon.log().wait_for("Перезапуск ostrand...", seconds(5)));
         }},
    };
    for (State const& state : states) {
        SCOPED_TRACE(state.name);
        Daemon daemon(Daemon::Image::testable);
        state.reach(daemon);
        size_t const mark = daemon.log().mark();
        EXPECT_EQ(daemon.stop(seconds(2)), 1) << daemon.log().text();
        EXPECT_EQ(daemon.log().count(std::string("[1] ") + closing_line, mark), 1) << daemon.log().text(mark);
    }
}

TEST(EndOfProcess, EveryTerminationSignalAndAFault) {
    Broker broker;
    for (int const number : {SIGINT, SIGHUP, SIGQUIT, SIGFPE, SIGABRT, SIGSEGV}) {
        SCOPED_TRACE(number);
        Daemon daemon;
        daemon.start_with(null_port_config(broker.port()));
        ASSERT_TRUE(daemon.log().wait_for("ответ получен : 5", seconds(10)));
        daemon.signal(number);
        EXPECT_EQ(daemon.wait_exit(seconds(2)), 1) << daemon.log().text();
        EXPECT_EQ(daemon.log().count(closing_line), 1);
        // A crash can be told from a stop.
        bool const is_fault = number == SIGFPE || number == SIGABRT || number == SIGSEGV;
        std::string const fault =
            "[3] аварийное завершение : сигнал " + std::to_string(number) + " (SIG" + sigabbrev_np(number) + ").";
        EXPECT_EQ(daemon.log().count(fault), is_fault ? 1 : 0);
    }
}
