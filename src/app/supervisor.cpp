#include "app/supervisor.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <mosquitto.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "app/normalise.h"
#include "app/ports.h"
#include "config/config.h"
#include "config/constants.h"
#include "config/process.h"
#include "foundation/jutils.h"
#include "foundation/xmisc.h"
#include "foundation/xsignal.h"

using xCommon::global_log;
using xCommon::global_logf;
using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::xLog;
using xCommon::xMisc;

namespace {

constexpr int look_ms = 1000;
/// Gives the writer of the file time to finish.
constexpr int restart_pause_ms = 3000;
/// A `touch` raises IN_CLOSE_WRITE: the drivers' last resort rests on it.
constexpr uint32_t watch_mask = IN_MODIFY | IN_CLOSE_WRITE | IN_DELETE_SELF;
constexpr size_t event_buffer_size = 816;

bool exists(std::string const& path) {
    return access(path.c_str(), F_OK) == 0;
}

void flush_log() {
    if (xLog::gv != nullptr) {
        xLog::gv->flush();
    }
}

/// Lines and sessions of this image must end with it, those too that a library opened.
void close_all_on_exec() {
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc/self/fd", error), end; !error && entry != end;
         entry.increment(error)) {
        int const fd = std::atoi(entry->path().filename().c_str());
        if (fd > STDERR_FILENO) {
            fcntl(fd, F_SETFD, FD_CLOEXEC);
        }
    }
}

}  // namespace

std::string executable_path() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

Supervisor::Supervisor(Options options, char* const* argv) : options_(std::move(options)), argv_(argv) {
    PH::IsPrintHex = options_.print_hex;
    cfg_name = options_.config_path;
}

void Supervisor::end_of_process(int /*signal_number*/) {
    global_logf(lmtInfo, "%s : версия %s : конец работы.", program_title, program_version);
    flush_log();
    mosquitto_lib_cleanup();
    // exit() would destroy static objects under the feet of the workers that still run, and could end in an abort.
    std::_Exit(1);
}

void Supervisor::tell_fault(int number, char const* name) {
    global_logf(lmtError, "аварийное завершение : сигнал %d (SIG%s).", number, name);
}

int Supervisor::run() {
    if (mosquitto_lib_init() != MOSQ_ERR_SUCCESS) {
        global_log(lmtError, "Ошибка инициализации подсистемы mosquitto.\nПродолжение работы невозможно...");
        end_of_process(failure_signal);
    }
    announce_missing_file();
    find_file();
    global_logf(lmtInfo, "%s : версия %s : начало работы :\n* mode = %s * config = %s * log = %s *", program_title,
                program_version, program_mode, cfg_name, options_.log_name);
    watch_file();
    xMisc::delay(look_ms);
    start();
    do {
        xMisc::delay(look_ms);
        if (gateway_) {
            gateway_->turn();
        }
    } while (!file_changed());
    replace_process();
    return 1;
}

void Supervisor::announce_missing_file() const {
    if (options_.config_given && !exists(cfg_name)) {
        global_log(lmtError, "Указанный файл конфигурации не найден. Режим ожидания...");
    } else if (!exists(path_config_first) && !exists(path_config_second)) {
        // Also when -c names an existing file: whoever reads the log expects the line on such a gateway.
        global_log(lmtError, "Не найден ни один из возможных файлов конфигурации. Режим ожидания...");
    }
}

void Supervisor::find_file() const {
    for (;;) {
        if (options_.config_given && exists(cfg_name)) {
            return;
        }
        for (std::string const& path : {path_config_first, path_config_second}) {
            if (exists(path)) {
                cfg_name = path;
                return;
            }
        }
        xMisc::delay(look_ms);
    }
}

/// Ahead of the reading, so that a write during the start isn't lost.
void Supervisor::watch_file() {
    watch_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (watch_ < 0) {
        global_log(lmtError, "критическая ошибка : не удалось инициализировать inotify");
        end_of_process(failure_signal);
    }
    if (inotify_add_watch(watch_, cfg_name.c_str(), watch_mask) < 0) {
        global_logf(lmtError, "inotify_add_watch : ошибка %s : %s.", cfg_name, std::strerror(errno));
        end_of_process(failure_signal);
    }
}

void Supervisor::start() {
    std::unique_ptr<Config> config;
    Json::Value gpio;
    {
        Normalised normalised = normalise(xCommon::jUtils::Load(cfg_name));
        config.reset(Config::Load(normalised.config));
        if (normalised.is_xgpio) {
            gpio = std::move(normalised.xgpio);
        }
    }
    if (!config) {
        global_log(lmtError, "Ошибка чтения/парсинга файла конфигурации.\nРежим ожидания...");
        return;
    }
    // The ports hold on to the tree: it lives to the end of the process.
    Config const& tree = *config.release();
    gateway_ = Gateway::make(tree, gpio, cfg_name);
    xCommon::xSystem::GiveBackMemory();
    start_ports(tree, gpio.isNull() ? 0 : start_gpio(gpio));
    xLog::gv->set_max_size(tree.log.max_size);
    xLog::gv->set_debug(tree.log.is_debug || options_.debug);
    xLog::gv->set_quiet(tree.log.quiet);
    xLog::gv->set_second(options_.verbose);
}

bool Supervisor::file_changed() {
    alignas(inotify_event) std::array<char, event_buffer_size> events{};
    ssize_t const count = read(watch_, events.data(), events.size());
    for (ssize_t at = 0; at + static_cast<ssize_t>(sizeof(inotify_event)) <= count;) {
        auto const* event = reinterpret_cast<inotify_event const*>(events.data() + at);
        if ((event->mask & watch_mask) != 0) {
            global_logf(lmtInfo, "[%d : %d] Перезапуск ostrand...", event->mask, count);
            return true;
        }
        at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
    return false;
}

void Supervisor::replace_process() {
    mosquitto_lib_cleanup();
    flush_log();
    xMisc::delay(restart_pause_ms);
    std::string const path = executable_path();
    flush_log();
    xCommon::xSignalHandling::restore_for_exec();
    close_all_on_exec();
    execv(path.c_str(), argv_);
    global_logf(lmtError, "не удалось перезапустить процесс : %s : %s", path, std::strerror(errno));
    flush_log();
}
