// A daemon as a process: what it does while its broker comes, goes and stands still, how a change of its file replaces
// it with nothing of the old one left, and that it ends in order, with the closing line and status 1 within two
// seconds.

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/libmodbus_slave.h"
#include "support/mqtt_probe.h"
#include "support/sample_config.h"

using std::chrono::seconds;

namespace {

constexpr char restart_line[] = "Перезапуск ostrand...";
constexpr char closing_line[] = "Универсальный драйвер : версия 2.28 : конец работы.";

/// One writable register on a real slave, polled at every pass.
struct Rig {
    explicit Rig(Broker::At when = Broker::At::once, Daemon::Image image = Daemon::Image::real)
        : broker(when), daemon(image), slave(daemon.folder().file("line"), 7) {
        config = sample::root(broker.port());
        Json::Value port = sample::rs_port("p", slave.path());
        Json::Value device = sample::rtu_device("plc", 7);
        device["poll_interval"] = 0;
        device["params"] = sample::json(R"([{"name": "set", "reg_addr": 1, "value_type": "u16", "read_only": false}])");
        port["devices"].append(device);
        config["ports"].append(port);
    }

    int writes() {
        int count = 0;
        for (std::string const& request : slave.requests()) {
            count += request.rfind("07 06", 0) == 0 ? 1 : 0;
        }
        return count;
    }

    Broker broker;
    Daemon daemon;
    LibmodbusSlave slave;
    Json::Value config;
    std::string const value = sample::value_topic("plc_7", "set");
    std::string const on = sample::on_topic("plc_7", "set");
};

void overwrite(std::string const& path, std::string const& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

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

TEST(BrokerAway, PollingStopsAndResumesAndEachWriteIsExecutedOnce) {
    Rig rig;
    rig.slave.set_holding(1, {5});
    rig.daemon.start_with(rig.config);
    {
        MqttProbe probe(rig.broker.port());
        ASSERT_TRUE(probe.wait_for(rig.value, "5", seconds(15))) << rig.daemon.log().text();
        ASSERT_TRUE(probe.publish(rig.on, "6"));
        ASSERT_TRUE(probe.wait_for(rig.value, "6", seconds(5))) << rig.daemon.log().text();
    }

    size_t const before_stop = rig.daemon.log().mark();
    rig.broker.stop();
    ASSERT_TRUE(rig.daemon.log().wait_for("соединение с брокером", seconds(5), before_stop));
    // The pass that runs ends, and no other begins.
    EXPECT_TRUE(wait_until(
        [&rig] {
            size_t const asked = rig.slave.requests().size();
            return holds_for([&rig, asked] { return rig.slave.requests().size() == asked; }, seconds(2));
        },
        seconds(8)));

    size_t const before_start = rig.daemon.log().mark();
    rig.broker.start();
    MqttProbe probe(rig.broker.port());
    // A retained command is replayed at each subscription, and executed once for each.
    ASSERT_TRUE(probe.publish(rig.on, "9", 2, true));
    ASSERT_TRUE(rig.daemon.log().wait_for("[p] MQTT соединение установлено.", seconds(15), before_start));
    ASSERT_TRUE(probe.wait_for(rig.value, "9", seconds(5))) << rig.daemon.log().text(before_start);
    ASSERT_TRUE(probe.publish(rig.on, "10"));
    ASSERT_TRUE(probe.wait_for(rig.value, "10", seconds(5))) << rig.daemon.log().text(before_start);
    EXPECT_TRUE(holds_for([&rig] { return rig.writes() == 3; }, seconds(2))) << rig.daemon.log().text();
    // One line for each change of state, however many attempts lay between.
    EXPECT_EQ(rig.daemon.log().count("[3] MQTT :", before_stop), 1);
}

TEST(BrokerAway, AbsentAtTheStartIsWaitedFor) {
    Rig rig(Broker::At::later);
    rig.daemon.start_with(rig.config);
    ASSERT_TRUE(rig.daemon.wait_running());
    ASSERT_TRUE(rig.daemon.log().wait_for("Попытки продолжаются.", seconds(5)));
    EXPECT_TRUE(rig.slave.requests().empty());
    long const cpu_before = rig.daemon.cpu_ms();
    EXPECT_TRUE(holds_for([&rig] { return rig.slave.requests().empty(); }, seconds(2)));
    EXPECT_LT(rig.daemon.cpu_ms() - cpu_before, 200);

    rig.broker.start();
    MqttProbe probe(rig.broker.port());
    EXPECT_TRUE(probe.wait_for(rig.value, "0", seconds(15))) << rig.daemon.log().text();
    EXPECT_EQ(rig.daemon.log().count("Попытки продолжаются."), 1);
}

TEST(BrokerAway, AHugeMessageIsDroppedAndItsMemoryGivenBack) {
    // Where a sanitizer keeps what is freed, memory would seem to stay.
    setenv("ASAN_OPTIONS", "quarantine_size_mb=1", 1);
    Rig rig;
    rig.daemon.start_with(rig.config);
    unsetenv("ASAN_OPTIONS");
    MqttProbe probe(rig.broker.port());
    ASSERT_TRUE(probe.wait_for(rig.value, "0", seconds(15))) << rig.daemon.log().text();
    long const before = rig.daemon.rss_kib();
    ASSERT_TRUE(probe.publish(rig.on, std::string(size_t{60} * 1024 * 1024, 'x'), 2, true));
    std::string const dropped = "сообщение отброшено : топик '" + rig.on + "' : размер ";
    ASSERT_TRUE(rig.daemon.log().wait_for(dropped + "62914560 байт.", seconds(20)));
    EXPECT_EQ(rig.daemon.log().count(dropped), 1);
    EXPECT_TRUE(wait_until([&] { return rig.daemon.rss_kib() < 2 * before; }, seconds(20))) << rig.daemon.rss_kib();
    for (auto const& [payload, shown] : {std::pair{std::string(4095, 'y') + "да", std::string(4095, 'y')},
                                         std::pair{std::string(65536, 'x'), std::string(4096, 'x')}}) {
        ASSERT_TRUE(probe.publish(rig.on, payload));
        EXPECT_TRUE(rig.daemon.log().wait_for(
            rig.on + " = " + shown + "... (всего " + std::to_string(payload.size()) + " байт).", seconds(20)));
    }
}

TEST(FileWatch, EveryWayOfSavingReplacesTheProcessAndLeavesNothingBehind) {
    Rig rig;
    std::string const path = rig.daemon.write_config(rig.config);
    std::string const text = rig.config.toStyledString();
    rig.daemon.start({"-c", path, "-d"});
    ASSERT_TRUE(rig.daemon.wait_running());
    ASSERT_TRUE(rig.daemon.log().wait_for("ответ получен", seconds(10)));
    pid_t const pid = rig.daemon.pid();
    int const descriptors = rig.daemon.descriptor_count();

    std::string const other = path + ".new";
    std::pair<char const*, std::function<void()>> const ways[] = {
        {"rewritten", [&] { overwrite(path, text); }},
        {"touched", [&] { std::ofstream(path, std::ios::binary | std::ios::app).flush(); }},
        {"replaced by rename",
         [&] {
             overwrite(other, text);
             std::filesystem::rename(other, path);
         }},
        {"saved ten times",
         [&] {
             for (int save = 0; save < 10; ++save) {
                 overwrite(path, text);
             }
         }},
    };
    for (auto const& [name, save] : ways) {
        SCOPED_TRACE(name);
        size_t const mark = rig.daemon.log().mark();
        save();
        ASSERT_TRUE(rig.daemon.log().wait_for(restart_line, seconds(5), mark)) << rig.daemon.log().text(mark);
        ASSERT_TRUE(rig.daemon.wait_running(seconds(20), mark)) << rig.daemon.log().text(mark);
        ASSERT_TRUE(rig.daemon.log().wait_for("ответ получен", seconds(10), mark)) << rig.daemon.log().text(mark);
        EXPECT_EQ(rig.daemon.log().count("начало работы :", mark), 1);
        EXPECT_EQ(rig.daemon.pid(), pid);
        EXPECT_TRUE(wait_until([&] { return rig.daemon.descriptor_count() == descriptors; }, seconds(2)))
            << testing::PrintToString(rig.daemon.descriptors());
    }
    // The same options: the detail of -d is on in the last image as in the first.
    EXPECT_NE(rig.daemon.log().entries().back().level, 0);
    EXPECT_GE(rig.daemon.log().count("[4] [plc_7] Load"), 5);

    size_t const mark = rig.daemon.log().mark();
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    EXPECT_TRUE(holds_for([&] { return rig.daemon.log().count(restart_line, mark) == 0; }, seconds(3)));
}

TEST(FileWatch, ADeletedFileSendsItBackToSearching) {
    Rig rig(Broker::At::once, Daemon::Image::testable);
    std::string const path = rig.daemon.write_config(rig.config, "etc/driver.json");
    rig.daemon.start();
    ASSERT_TRUE(rig.daemon.wait_running());
    size_t mark = rig.daemon.log().mark();
    std::filesystem::remove(path);
    ASSERT_TRUE(rig.daemon.log().wait_for("Не найден ни один из возможных файлов конфигурации. Режим ожидания...",
                                          seconds(15), mark))
        << rig.daemon.log().text(mark);
    mark = rig.daemon.log().mark();
    EXPECT_TRUE(holds_for([&] { return rig.daemon.log().mark() == mark; }, seconds(3)));
    // It appears in the second place, and no restart is needed.
    rig.daemon.write_config(rig.config, "etc/ostrand.json");
    EXPECT_TRUE(rig.daemon.wait_running(seconds(20), mark)) << rig.daemon.log().text(mark);
    EXPECT_EQ(rig.daemon.log().count("config = " + rig.daemon.folder().file("etc/ostrand.json"), mark), 1);
}

TEST(EndOfProcess, InEveryState) {
    Broker broker;
    std::pair<char const*, std::function<void(Daemon&)>> const states[] = {
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
    for (auto const& [name, reach] : states) {
        SCOPED_TRACE(name);
        Daemon daemon(Daemon::Image::testable);
        reach(daemon);
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

TEST(Options, DetailHexTracesCopyAndALogOfItsOwn) {
    std::tuple<std::vector<std::string>, bool, bool, bool> const rows[] = {
        {{}, false, false, false},
        {{"-x", "-d", "-y"}, true, false, false},
        {{"-hv"}, false, true, true},
    };
    Broker broker;
    Json::Value config = sample::root(broker.port());
    config["log"]["is_debug"] = false;
    config["ports"].append(sample::json(R"({"name": "p", "type": "base.null", "poll_interval": 1, "devices": [
        {"name": "d", "type": "mb-rtu", "sid": 17, "params": [
            {"name": "a", "reg_addr": 1, "value_type": "u16", "scale": 2}]}]})"));
    for (auto const& [options, detail, hex, copied] : rows) {
        Daemon daemon(Daemon::Image::testable);
        std::vector<std::string> arguments = {"-c", daemon.write_config(config), "-l", "own.log"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        daemon.start_bare(arguments);
        MqttProbe probe(broker.port());
        ASSERT_TRUE(probe.wait_for_count(sample::value_topic("d_17", "a"), 5, seconds(20))) << daemon.log().text();
        EXPECT_EQ(daemon.stop(), 1);

        std::ifstream file(daemon.folder().file("log/own.log"));
        std::stringstream content;
        content << file.rdbuf();
        std::string const log = content.str();
        // Everything behind the start of the work belongs to the settings; before it all detail is on.
        std::string const work = log.substr(std::min(log.size(), log.find("начало рабочего цикла")));
        SCOPED_TRACE(log);
        EXPECT_NE(log.find("[4] [Config::Load] Load : загрузка списка : ports."), std::string::npos);
        EXPECT_EQ(work.find("mem_usage") != std::string::npos, detail);
        EXPECT_EQ(log.find("dev_mb_rtu::get_response : запрос : 11 03 00 01 00 01 D7 5A") != std::string::npos, hex);
        EXPECT_NE(work.find("конец работы."), std::string::npos);
        EXPECT_EQ(daemon.log().count("конец работы.") > 0, copied);
    }
}

TEST(Options, TheFirstDefaultFileWinsAndAMissingOneIsAnnounced) {
    Broker broker;
    Json::Value config = sample::root(broker.port());
    Daemon daemon(Daemon::Image::testable);
    std::string const first = daemon.write_config(config, "etc/driver.json");
    daemon.write_config(config, "etc/ostrand.json");
    daemon.start({"-c", daemon.folder().file("missing.json")});
    EXPECT_TRUE(daemon.log().wait_for("config = " + first, seconds(10))) << daemon.log().text();
    EXPECT_EQ(daemon.log().count("[3] Указанный файл конфигурации не найден. Режим ожидания..."), 1);
    EXPECT_EQ(daemon.log().count("Не найден ни один"), 0);
}

TEST(BadConfig, WhatIsNoConfigurationEndsWithItsReason) {
    std::pair<std::string, char const*> const rows[] = {
        {"", "файл пуст или не читается"},
        {"this is no JSON", "ошибка разбора JSON : * Line 1, Column 1"},
        {R"({"ports": [)", "ошибка разбора JSON"},
        {R"({"ports": []} and more)", "ошибка разбора JSON"},
        {std::string(100000, '['), "ошибка разбора JSON"},
        {"[1, 2]", "корень файла конфигурации не является объектом."},
        {"\"text\"", "корень файла конфигурации не является объектом."},
        {"null", "корень файла конфигурации не является объектом."},
    };
    for (auto const& [content, reason] : rows) {
        SCOPED_TRACE(content.substr(0, 40));
        Daemon daemon;
        std::string const path = daemon.folder().write("bad.json", content);
        daemon.start({"-c", path});
        EXPECT_EQ(daemon.wait_exit(seconds(10)), 1);
        EXPECT_EQ(daemon.log().count(reason), 1) << daemon.log().text();
        EXPECT_EQ(daemon.log().matching(reason).at(0).level, 3);
    }
}

TEST(BadConfig, NothingUsableStandsBy) {
    for (auto const& [config, line] :
         {std::pair{"{}", "нет ни одного запущенного порта."},
          std::pair{R"({"log": {"max_size": "five"}, "ports": []})", "Ошибка чтения/парсинга файла конфигурации."}}) {
        SCOPED_TRACE(config);
        Daemon daemon;
        daemon.start({"-c", daemon.folder().write("idle.json", config)});
        EXPECT_TRUE(daemon.log().wait_for(line, seconds(10))) << daemon.log().text();
        EXPECT_TRUE(daemon.running());
    }
}

TEST(BadConfig, TenThousandParametersRun) {
    constexpr int number = 10000;
    Broker broker;
    Json::Value config = sample::root(broker.port());
    config["log"]["is_debug"] = false;
    Json::Value device = sample::json(R"({"name": "d", "type": "mb-rtu", "sid": 17, "poll_interval": 3600})");
    for (int index = 0; index < number; ++index) {
        Json::Value param = sample::json(R"({"reg_addr": 1, "value_type": "u16"})");
        param["name"] = "p" + std::to_string(index);
        device["params"].append(param);
    }
    Json::Value port = sample::json(R"({"name": "p", "type": "base.null"})");
    port["devices"].append(device);
    config["ports"].append(port);
    MqttProbe probe(broker.port(), "stat/#");
    Daemon daemon;
    daemon.start_with(config);
    EXPECT_TRUE(probe.wait_for(
        "stat/p/poll", "Статистика p : опросов = 10000 : ошибок = 0 [ 0.00 ] : вне диапазона = 0.", seconds(60)))
        << probe.text();
    MqttProbe retained(broker.port(), "/devices/d_17/controls/+");
    EXPECT_TRUE(wait_until([&retained] { return retained.mark() == static_cast<size_t>(number); }, seconds(30)))
        << retained.mark();
}
