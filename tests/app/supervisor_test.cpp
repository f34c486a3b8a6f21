// The process around the ports, in a child of its own, which ends where the next image can't be made.

#include "app/supervisor.h"

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "config/constants.h"
#include "config/cport.h"
#include "ctl/line/wait_until.h"
#include "ctl/scenario/offset_clock.h"
#include "foundation/xexception.h"
#include "foundation/xmisc.h"
#include "runtime/ibase.h"
#include "support/temp_folder.h"

using xCommon::xLog;

namespace {

CBFac const nodes[] = {{"base.unmade.cport", CPort::create}, {"base.raises.cport", CPort::create}};
IBFac const port("base.raises.port",
                 [](IBase*, CBase*) -> std::unique_ptr<IBase> { throw xCommon::xException("why"); });

/// From the start to a change of the file.
[[noreturn]] void live(std::string const& folder, std::string words) {
    alarm(5);
    offset_clock::skip_delays(true);
    std::string too_long_for_exec(256 * 1024, 'x');
    char* const arguments[] = {too_long_for_exec.data(), words.data(), nullptr};
    Options const options = Options::parse(words.empty() ? 1 : 2, arguments);
    xLog::gv = new xLog(folder, "log", 5, true, true);
    int const left_open = dup(STDERR_FILENO);
    int const status = Supervisor(options, arguments).run();
    xCommon::global_logf(xCommon::lmtInfo, "%d%s%s%s", status, xLog::gv->enabled(xCommon::lmtTrace) ? " debug" : "",
                         xLog::gv->is_quiet() ? " quiet" : "",
                         (fcntl(left_open, F_GETFD) & FD_CLOEXEC) != 0 ? "" : " left open");
    Supervisor::end_of_process(Supervisor::failure_signal);
}

}  // namespace

TEST(Supervisor, LinesAndSettingsFromTheStartToTheNextImage) {
    TempFolder const folder;
    std::string const own = folder.file("own.json");
    std::string const standby = "[3] --- start : нет ни одного запущенного порта.\nРежим ожидания...\n";
    std::string const not_found = "[3] Указанный файл конфигурации не найден. Режим ожидания...\n";
    std::string const no_default = "[3] Не найден ни один из возможных файлов конфигурации. Режим ожидания...\n";
    std::string const refused = "[3] Ошибка чтения/парсинга файла конфигурации.\nРежим ожидания...\n";
    auto const ports = [](std::vector<std::string> const& several) {
        std::string text = R"({"mqtt": {"port": 1}, "log": {"quiet": true}, "ports": [5)";
        for (std::string const& keys : several) {
            text +=
                R"(, {"devices": [{"name": "d", "type": "mb-rtu", "sid": 1, "params": [{"name": "a", "reg_addr": 1}]}],
                       "name": )" +
                keys + "}";
        }
        return text + "]}";
    };
    char const* const unmade = R"("u", "type": "base.unmade")";
    std::string const not_made =
        "[1] --- start : u : base.unmade : запуск порта\n[3] --- start : u : base.unmade : не зарегистрирован класс\n";
    std::string const five =
        ports({unmade, R"("p", "type": "base.rs", "rs": {"path": "/nowhere"})", R"("r", "type": "base.raises")",
               R"("off", "type": "base.null", "enabled": false)", R"("n", "type": "base.null", "poll_interval": 60)"});
    std::string const started_one =
        "[1] --- start : p : base.rs : запуск порта\n[3] --- start : p : base.rs : ошибка при запуске порта\n"
        "[1] --- start : r : base.raises : запуск порта\n"
        "[3] --- start : r : base.raises : исключение при запуске порта : why.\n"
        "[1] --- start : n : base.null : запуск порта\n[3] --- start : n : base.null : порт запущен\n"
        "[1] --- start : начало рабочего цикла\n";
    char const* const gpio = R"({"ports": [{"connection": {"type": "xgpio", "enabled": true}, "devices": [
        {"type": "xgpio", "cname": "g"}], "parameters": [{"cname": "g", "config": {"channels": []}}]}]})";
    std::string const no_gpio =
        "[3] ошибка при парсинге конфигурационного файла : config : в конфигурационно0м файле не задано ни одного "
        "канала..\n";
    // The file, its content, an option, the lines ahead of the first and behind it, the settings, and whether standard
    // error has it all.
    std::tuple<std::string, std::string, std::string, std::string, std::string, char const*, bool> const rows[] = {
        {path_config_first, "{}", "", "", standby, "", false},
        {path_config_second, five, "", "", not_made + started_one, " quiet", false},
        {path_config_first, ports({unmade}), "", "", not_made + standby, " quiet", false},
        {path_config_first, R"({"log": {"is_debug": true}})", "-v", "", standby, " debug", true},
        {path_config_first, R"({"log": {"quiet": true}})", "-d", "", standby, " debug", false},
        {path_config_first, gpio, "", "", no_gpio + standby, "", false},
        {own, "{}", "-c" + own, no_default, standby, "", false},
        {path_config_first, "{}", "-c" + own, not_found, standby, "", false},
        {path_config_first, R"({"mqtt": {}})", "", "", refused, " debug", true},
    };
    for (auto const& [file, content, words, before, started, settings, is_copied] : rows) {
        SCOPED_TRACE(content + " " + words);
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream(file) << content;
        testing::internal::CaptureStderr();
        pid_t const child = fork();
        if (child == 0) {
            live(folder.path(), words);
        }
        int status = 0;
        auto const touch_until_its_end = [&, path = file] {
            xCommon::xSystem::Touch(path);
            return waitpid(child, &status, WNOHANG) == child;
        };
        EXPECT_TRUE(wait_until(touch_until_its_end, std::chrono::seconds(10)));
        std::string const copied = testing::internal::GetCapturedStderr();
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
        std::ostringstream log;
        log << std::ifstream(folder.file("log")).rdbuf();
        // Without times, and without the lines of nodes.
        std::string const lines = std::regex_replace(
            log.str(), std::regex(R"((\d{4}-\S+ \S+ \[\d\] (\[[^\] ]+\]|MQTT :) [^\n]*\n)|\d{4}-\d\d-\d\d [\d:.]+ )"),
            "");
        EXPECT_EQ(
            lines,
            before + "[1] Универсальный драйвер : версия 2.28 : начало работы :\n* mode = cross * config = " + file +
                " * log = ostrand.log *\n" + started + "[1] [8 : 16] Перезапуск ostrand...\n" +
                "[3] не удалось перезапустить процесс : " + executable_path() + " : Argument list too long\n[1] 1" +
                settings + "\n[1] Универсальный драйвер : версия 2.28 : конец работы.\n");
        EXPECT_EQ(copied.find("конец работы") != std::string::npos, is_copied);
        std::filesystem::remove(file);
        std::filesystem::remove(folder.file("log"));
    }
    EXPECT_EQ(executable_path(), std::filesystem::read_symlink("/proc/self/exe"));
}
