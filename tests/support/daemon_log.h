#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// One entry of the daemon's log.
struct LogEntry {
    std::string time;  ///< "2026-01-31 12:00:00.123"
    int level = 0;
    /// The name in the brackets before the text; empty when there is none. A text that itself begins with a bracket
    /// looks the same.
    std::string node;
    std::string text;
    std::string whole;  ///< "[3] [node] text", further lines of the entry included
};

/// Takes a process's output as it comes, cuts it into log entries and lets a test wait for one.
class DaemonLog {
 public:
    using Limit = std::chrono::milliseconds;

    /// One line of output, from the thread that reads it.
    void add_line(std::string const& line);
    /// No more lines will come: whoever waits is woken.
    void end();
    /// Lines will come again.
    void begin();

    /// Number of entries so far: a point behind which to look.
    size_t mark() const;
    std::vector<LogEntry> entries(size_t since = 0) const;
    /// Entries whose whole text contains `part`: "[3] [p1] ответ" picks level and node too.
    std::vector<LogEntry> matching(std::string const& part, size_t since = 0) const;
    int count(std::string const& part, size_t since = 0) const;
    /// Entries of exactly this node, level and text.
    int count(int level, std::string const& node, std::string const& text, size_t since = 0) const;
    /// The first entry behind the mark that contains `part`; nothing when it doesn't come within `limit`, or the
    /// process ends before.
    std::optional<LogEntry> wait_for(std::string const& part, Limit limit, size_t since = 0) const;

    /// All output as it came, entries or not.
    std::string raw() const;
    /// Everything since the mark, for the message of a failed test.
    std::string text(size_t since = 0) const;

 private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<LogEntry> entries_;
    std::string raw_;
    bool ended_ = false;
};
