#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

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

/// The process log: lines of the form "YYYY-MM-DD hh:mm:ss.mmm [type] [node] text", written from any thread.
/// The file is appended to and rotated at its maximum size, with three old ones kept. If it can't be opened, that is
/// told on standard error and the lines go there until it can be opened again. A line of type 3 is flushed at once,
/// others with flush().
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
    ~xLog();
    xLog(xLog const&) = delete;
    xLog& operator=(xLog const&) = delete;

    void Log(LMT type, std::string const& text) { write(type, nullptr, text); }
    template <typename... Args>
    void Logf(LMT type, std::string const& format, Args const&... args) {
        if (enabled(type)) {
            write(type, nullptr, xString::Format(format, args...));
        }
    }
    /// One entry with the title and the bytes in hexadecimal, whatever the debug detail.
    void PrintHex(void const* data, int length, std::string const& title);

    /// A line under a node's name.
    void write(LMT type, std::string const* node, std::string const& text);
    bool enabled(LMT type) const { return type != lmtTrace || debug_; }
    void flush();

    /// In MiB; below 1 counts as 1.
    void set_max_size(int size);
    void set_debug(bool debug) { debug_ = debug; }
    void set_second(bool second) { second_ = second; }

 private:
    void open_file();
    void write_line(spdlog::details::log_msg const& message, bool flush_it);

    std::mutex mutex_;
    std::string path_;
    int size_;
    std::atomic<bool> debug_;
    std::atomic<bool> second_;
    std::chrono::steady_clock::time_point last_open_;
    std::unique_ptr<spdlog::sinks::sink> file_;
    std::unique_ptr<spdlog::sinks::sink> screen_;
};

/// Lines of the process log that belong to no node.
inline void global_log(LMT type, std::string const& text) {
    if (xLog::gv != nullptr) {
        xLog::gv->Log(type, text);
    }
}

template <typename... Args>
void global_logf(LMT type, std::string const& format, Args const&... args) {
    if (xLog::gv != nullptr) {
        xLog::gv->Logf(type, format, args...);
    }
}

/// A node in the tree of log sources: its lines carry its name.
class LogItem {
 public:
    explicit LogItem(LogItem* parent) : log_parent_(parent) {}
    LogItem(LogItem* parent, std::string item_name) : name(std::move(item_name)), log_parent_(parent) {}
    virtual ~LogItem() = default;

    void Log(LMT type, std::string const& text) const {
        if (xLog::gv != nullptr) {
            xLog::gv->write(type, &name, text);
        }
    }
    template <typename... Args>
    void Logf(LMT type, std::string const& format, Args const&... args) const {
        if (xLog::gv != nullptr && xLog::gv->enabled(type)) {
            xLog::gv->write(type, &name, xString::Format(format, args...));
        }
    }
    LogItem* log_parent() const { return log_parent_; }

    std::string name;

 private:
    LogItem* log_parent_;
};

}  // namespace xCommon
