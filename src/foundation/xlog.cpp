#include "foundation/xlog.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <utility>

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include "foundation/xmisc.h"
#include "foundation/xsignal.h"

namespace xCommon {

namespace {

constexpr size_t mib = size_t{1024} * 1024;
constexpr size_t old_files = 3;
constexpr auto reopen_pause = std::chrono::seconds(10);
constexpr auto flush_pause = std::chrono::milliseconds(50);
constexpr char line_pattern[] = "%Y-%m-%d %H:%M:%S.%e %v";

void report_on_stderr(std::string const& path, char const* reason) {
    std::fprintf(stderr, "%s : не удалось записать лог : %s\n", path.c_str(), reason);
}

}  // namespace

xLog::Pointer xLog::gv;

xLog::xLog(std::string const& directory, std::string const& file, int size, bool debug, bool second)
    : path_(directory + "/" + file),
      size_(std::max(size, 1)),
      debug_(debug),
      second_(second),
      screen_(std::make_unique<spdlog::sinks::stderr_sink_st>()) {
    screen_->set_pattern(line_pattern);
    open_file();
    flusher_ = std::thread(&xLog::flush_later, this);
}

xLog::xLog(Listener listener) : listener_(std::move(listener)), debug_(false) {}

xLog::~xLog() {
    if (!flusher_.joinable()) {
        return;
    }
    {
        std::lock_guard const lock(mutex_);
        stop_ = true;
    }
    changed_.notify_all();
    flusher_.join();
}

/// A SIGKILL takes along what hasn't reached the file. One wake-up serves all lines of the pause behind it.
void xLog::flush_later() {
    name_thread("log");
    FaultStack const fault_stack;
    std::unique_lock lock(mutex_);
    while (!stop_) {
        changed_.wait(lock, [this] { return is_dirty_ || stop_; });
        changed_.wait_for(lock, flush_pause, [this] { return stop_; });
        flush_file();
    }
}

void xLog::open_file() {
    last_open_ = std::chrono::steady_clock::now();
    try {
        // The sink makes the missing folders of the path itself.
        file_ =
            std::make_unique<spdlog::sinks::rotating_file_sink_st>(path_, static_cast<size_t>(size_) * mib, old_files);
        file_->set_pattern(line_pattern);
    } catch (std::exception const& e) {
        file_.reset();
        report_on_stderr(path_, e.what());
    }
}

void xLog::write(LMT type, std::string const* node, std::string_view text) {
    if (!enabled(type) || LogSilence::is_on_) {
        return;
    }
    if (listener_) {
        std::lock_guard const lock(mutex_);
        listener_(type, node, text);
        return;
    }
    std::string line;
    line.reserve(text.size() + 32);
    line.append("[").append(std::to_string(static_cast<int>(type))).append("] ");
    if (node != nullptr) {
        line.append("[").append(LogArgument(*node).text()).append("] ");
    }
    line.append(text);
    if (LogExchange::holds(*this, type, line)) {
        return;
    }
    spdlog::details::log_msg const message(spdlog::string_view_t{}, spdlog::level::info, line);

    std::lock_guard const lock(mutex_);
    write_line(message, type == lmtError);
}

void xLog::write_line(spdlog::details::log_msg const& message, bool flush_it) {
    if (!file_ && std::chrono::steady_clock::now() - last_open_ > reopen_pause) {
        open_file();
    }
    bool written = false;
    try {
        if (file_) {
            file_->log(message);
            if (flush_it) {
                file_->flush();
                is_dirty_ = false;
            } else if (!is_dirty_) {
                is_dirty_ = true;
                changed_.notify_one();
            }
            written = true;
        }
    } catch (std::exception const& e) {
        // A full disk must not stop the polling, nor a failed rotation the log: the file is tried again later.
        report_on_stderr(path_, e.what());
        file_.reset();
    }
    if (second_ || !written) {
        screen_->log(message);
    }
}

void xLog::PrintHex(void const* data, int length, std::string const& title, std::string const* node) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text(LogArgument(title).text());
    text += " :";
    auto const* bytes = static_cast<unsigned char const*>(data);
    for (int index = 0; bytes != nullptr && index < length; ++index) {
        text.push_back(' ');
        text.push_back(digits[bytes[index] >> 4U]);
        text.push_back(digits[bytes[index] & 0x0FU]);
    }
    write(lmtInfo, node, text);
}

void xLog::flush() {
    std::lock_guard const lock(mutex_);
    flush_file();
}

void xLog::flush_file() {
    is_dirty_ = false;
    try {
        if (file_) {
            file_->flush();
        }
    } catch (std::exception const& e) {
        report_on_stderr(path_, e.what());
    }
}

void xLog::set_max_size(int size) {
    std::lock_guard const lock(mutex_);
    size = std::max(size, 1);
    if (size != size_) {
        size_ = size;
        file_.reset();
        open_file();
    }
}

thread_local bool LogSilence::is_on_ = false;
thread_local LogExchange* LogExchange::current_ = nullptr;

LogExchange::LogExchange() : outer_(current_), exceptions_(std::uncaught_exceptions()) {
    current_ = this;
}

LogExchange::~LogExchange() {
    if (std::uncaught_exceptions() > exceptions_) {
        fail();
    }
    current_ = outer_;
}

void LogExchange::fail() {
    xLog* const log = xLog::gv;
    if (current_ != nullptr && log != nullptr) {
        current_->let_through(*log);
    }
}

bool LogExchange::holds(xLog& log, LMT type, std::string& line) {
    if (current_ == nullptr || current_->has_failed_ || !log.is_quiet()) {
        return false;
    }
    if (type == lmtError) {
        current_->let_through(log);
        return false;
    }
    current_->held_.push_back({std::chrono::system_clock::now(), std::move(line)});
    return true;
}

void LogExchange::let_through(xLog& log) {
    has_failed_ = true;
    std::lock_guard const lock(log.mutex_);
    for (Held const& held : held_) {
        log.write_line({held.time, {}, {}, spdlog::level::info, held.line}, false);
    }
    held_.clear();
}

}  // namespace xCommon
