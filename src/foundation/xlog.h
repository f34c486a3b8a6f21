#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <vector>

#include "foundation/format_text.h"
#include "foundation/xstring.h"

namespace spdlog::sinks {
class sink;
}
namespace spdlog::details {
struct log_msg;
}

namespace xCommon {

/// Log message types. 4 is written only while debug detail is on, all others always.
enum LMT : int { lmtInfo = 1, lmtIgnored = 2, lmtError = 3, lmtTrace = 4 };

/// A text that stands in a line as it is and in whole, in place of a shown one.
struct Whole {
    std::string_view text;
};

/// One argument of a formatted line: a text as xString::Shown() gives it, anything else as it is.
class LogArgument {
 public:
    explicit LogArgument(std::string_view text) : text_(text) {
        if (!xString::IsPlain(text)) {
            shown_ = xString::Shown(text);
            text_ = shown_;
        }
    }
    LogArgument(LogArgument const&) = delete;
    LogArgument& operator=(LogArgument const&) = delete;
    std::string_view text() const { return text_; }

    template <typename T>
    static decltype(auto) of(T const& value) {
        if constexpr (std::is_convertible_v<T const&, std::string_view>) {
            return LogArgument(value);
        } else {
            return (value);
        }
    }
    template <typename T>
    static decltype(auto) value(T const& argument) {
        if constexpr (std::is_same_v<T, LogArgument>) {
            return argument.text();
        } else if constexpr (std::is_same_v<T, Whole>) {
            return std::string_view(argument.text);
        } else {
            return (argument);
        }
    }

 private:
    std::string_view text_;
    std::string shown_;
};

/// printf semantics with arguments from outside: see LogArgument. The line breaks of the format itself stay.
template <typename... Args>
std::string log_text(std::string_view format, Args const&... args) {
    return xString::Format(format, LogArgument::value(LogArgument::of(args))...);
}

/// The process log: lines of the form "YYYY-MM-DD hh:mm:ss.mmm [type] [node] text", written from any thread.
/// The file is appended to and rotated at its maximum size, with three old ones kept. If it can't be opened, that is
/// told on standard error and the lines go there until it can be opened again. A line of type 3 is flushed at once,
/// others within 100 ms, by a thread of the log's own.
/// What comes from outside (a payload, a name, an answer) is shown so that it can't be taken for lines of the program;
/// only a text that stands in the code keeps its line breaks.
class xLog {
 public:
    /// A pointer that one thread may set while others read it.
    class Pointer {
     public:
        Pointer& operator=(xLog* log) {
            log_ = log;
            return *this;
        }
        operator xLog*() const { return log_; }  // NOLINT(google-explicit-constructor): used as the pointer it is
        xLog* operator->() const { return log_; }

     private:
        std::atomic<xLog*> log_ = nullptr;
    };
    /// The one log of the process; null before main has made it, then all lines are dropped.
    static Pointer gv;

    /// `size` is in MiB. `second` copies each line to standard error.
    xLog(std::string const& directory, std::string const& file, int size, bool debug, bool second);
    /// For tools: each line goes to the listener, one at a time, and nowhere else. `node` may be null.
    using Listener = std::function<void(LMT type, std::string const* node, std::string_view text)>;
    explicit xLog(Listener listener);
    ~xLog();
    xLog(xLog const&) = delete;
    xLog& operator=(xLog const&) = delete;

    template <size_t Size>
    void Log(LMT type, char const (&text)[Size]) {
        write(type, nullptr, text);
    }
    void Log(LMT type, std::string const& text) { write(type, nullptr, LogArgument(text).text()); }
    template <typename... Args>
    void Logf(LMT type, CheckedFormat<Args...> format, Args const&... args) {
        if (enabled(type)) {
            write(type, nullptr, log_text(format.text(), args...));
        }
    }
    /// One entry with the title and the bytes in hexadecimal, whatever the debug detail, under a node's name if one is
    /// given.
    void PrintHex(void const* data, int length, std::string const& title, std::string const* node = nullptr);

    /// A line under a node's name, with the text as it is.
    void write(LMT type, std::string const* node, std::string_view text);
    bool enabled(LMT type) const { return type != lmtTrace || debug_; }
    /// Exchanges that succeed and statistics are left out: see LogExchange. Debug detail overrides it.
    bool is_quiet() const { return quiet_ && !debug_; }
    void flush();

    /// In MiB; below 1 counts as 1.
    void set_max_size(int size);
    void set_debug(bool debug) { debug_ = debug; }
    void set_quiet(bool quiet) { quiet_ = quiet; }
    void set_second(bool second) { second_ = second; }

 private:
    friend class LogExchange;

    void open_file();
    void write_line(spdlog::details::log_msg const& message, bool flush_it);
    void flush_file();
    void flush_later();

    Listener listener_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool is_dirty_ = false;
    bool stop_ = false;
    std::string path_;
    int size_ = 0;
    std::atomic<bool> debug_;
    std::atomic<bool> quiet_ = false;
    std::atomic<bool> second_ = false;
    std::chrono::steady_clock::time_point last_open_;
    std::unique_ptr<spdlog::sinks::sink> file_;
    std::unique_ptr<spdlog::sinks::sink> screen_;
    std::thread flusher_;
};

/// The scope of one exchange with a device, on the thread that makes it. While the log is quiet the lines of type 1 and
/// 2 in it are held back, and written with their own time as soon as it fails: at the first line of type 3, or at
/// fail(), or when an exception ends the scope. Of an exchange that succeeds nothing is written.
class LogExchange {
 public:
    LogExchange();
    ~LogExchange();
    LogExchange(LogExchange const&) = delete;
    LogExchange& operator=(LogExchange const&) = delete;

    /// The innermost exchange of this thread, if there is one, has failed, though no line may tell it.
    static void fail();

 private:
    friend class xLog;
    struct Held {
        std::chrono::system_clock::time_point time;
        std::string line;
    };

    static bool holds(xLog& log, LMT type, std::string& line);
    void let_through(xLog& log);

    static thread_local LogExchange* current_;
    LogExchange* outer_;
    int exceptions_;
    bool has_failed_ = false;
    std::vector<Held> held_;
};

/// While it stands, the lines of its thread are dropped.
class LogSilence {
 public:
    LogSilence() : outer_(is_on_) { is_on_ = true; }
    ~LogSilence() { is_on_ = outer_; }
    LogSilence(LogSilence const&) = delete;
    LogSilence& operator=(LogSilence const&) = delete;

 private:
    friend class xLog;
    static thread_local bool is_on_;
    bool outer_;
};

/// Lines of the process log that belong to no node.
template <typename Text>
void global_log(LMT type, Text const& text) {
    if (xLog::gv != nullptr) {
        xLog::gv->Log(type, text);
    }
}

template <typename... Args>
void global_logf(LMT type, CheckedFormat<Args...> format, Args const&... args) {
    if (xLog::gv != nullptr) {
        xLog::gv->Logf(type, format, args...);
    }
}

/// A node in the tree of log sources: its lines carry its name.
class LogItem {
 public:
    explicit LogItem(LogItem* parent, std::string item_name = {}) : name(std::move(item_name)), log_parent_(parent) {}
    virtual ~LogItem() = default;

    template <size_t Size>
    void Log(LMT type, char const (&text)[Size]) const {
        if (xLog::gv != nullptr) {
            xLog::gv->write(type, &name, text);
        }
    }
    void Log(LMT type, std::string const& text) const {
        if (xLog::gv != nullptr) {
            xLog::gv->write(type, &name, LogArgument(text).text());
        }
    }
    template <typename... Args>
    void Logf(LMT type, CheckedFormat<Args...> format, Args const&... args) const {
        if (xLog::gv != nullptr && xLog::gv->enabled(type)) {
            xLog::gv->write(type, &name, log_text(format.text(), args...));
        }
    }
    LogItem* log_parent() const { return log_parent_; }
    /// The node at the head of the tree: for what lies under a port, the port.
    LogItem const& log_root() const { return log_parent_ == nullptr ? *this : log_parent_->log_root(); }

    std::string name;

 private:
    LogItem* log_parent_;
};

}  // namespace xCommon
