// A change of the configuration file replaces the process by itself, and nothing of the old one stays.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "ctl/line/wait_until.h"
#include "support/broker.h"
#include "support/daemon.h"
#include "support/libmodbus_slave.h"
#include "support/sample_config.h"

using std::chrono::seconds;

namespace {

constexpr char restart_line[] = "Перезапуск ostrand...";
constexpr char begin_line[] = "начало работы :";

struct Rig {
    explicit Rig(Daemon::Image image = Daemon::Image::real) : daemon(image), slave(daemon.folder().file("line"), 7) {
        config = sample::root(broker.port());
        Json::Value port = sample::rs_port("p", slave.path());
        Json::Value device = sample::rtu_device("plc", 7);
        device["params"] = sample::json(R"([{"name": "a", "reg_addr": 1, "value_type": "u16"}])");
        port["devices"].append(device);
        config["ports"].append(port);
    }

    std::string text() const { return config.toStyledString(); }

    Broker broker;
    Daemon daemon;
    LibmodbusSlave slave;
    Json::Value config;
};

void overwrite(std::string const& path, std::string const& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

}  // namespace

TEST(FileWatch, EveryWayOfSavingReplacesTheProcessAndLeavesNothingBehind) {
    Rig rig;
    std::string const path = rig.daemon.write_config(rig.config);
    rig.daemon.start({"-c", path, "-d"});
    ASSERT_TRUE(rig.daemon.wait_running());
    ASSERT_TRUE(rig.daemon.log().wait_for("ответ получен", seconds(10)));
    pid_t const pid = rig.daemon.pid();
    int const descriptors = rig.daemon.descriptor_count();

    struct Way {
        char const* name;
        std::function<void()> save;
    };
    std::string const other = path + ".new";
    Way const ways[] = {
        {"rewritten", [&] { overwrite(path, rig.text()); }},
        {"touched", [&] { std::ofstream(path, std::ios::binary | std::ios::app).flush(); }},
        {"replaced by rename",
         [&] {
             overwrite(other, rig.text());
             std::filesystem::rename(other, path);
         }},
        {"saved ten times",
         [&] {
             for (int save = 0; save < 10; ++save) {
                 overwrite(path, rig.text());
             }
         }},
    };
    for (Way const& way : ways) {
        SCOPED_TRACE(way.name);
        size_t const mark = rig.daemon.log().mark();
        way.save();
        ASSERT_TRUE(rig.daemon.log().wait_for(restart_line, seconds(5), mark)) << rig.daemon.log().text(mark);
        ASSERT_TRUE(rig.daemon.wait_running(seconds(20), mark)) << rig.daemon.log().text(mark);
        ASSERT_TRUE(rig.daemon.log().wait_for("ответ получен", seconds(10), mark)) << rig.daemon.log().text(mark);
        EXPECT_EQ(rig.daemon.log().count(begin_line, mark), 1);
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

TEST(FileWatch, ABrokenFileEndsTheNextImageWithItsReason) {
    Rig rig;
    std::string const path = rig.daemon.write_config(rig.config);
    rig.daemon.start({"-c", path});
    ASSERT_TRUE(rig.daemon.wait_running());
    std::string const text = rig.text();
    overwrite(path, text.substr(0, text.size() / 2));
    EXPECT_EQ(rig.daemon.wait_exit(seconds(20)), 1);
    EXPECT_EQ(rig.daemon.log().count(restart_line), 1);
    EXPECT_EQ(rig.daemon.log().count("[3] " + path + " : ошибка разбора JSON"), 1) << rig.daemon.log().text();
}

TEST(FileWatch, ADeletedFileSendsItBackToSearching) {
    Rig rig(Daemon::Image::testable);
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
