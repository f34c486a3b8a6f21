#include "support/daemon_log.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace {

constexpr std::string_view time_shape = "dddd-dd-dd dd:dd:dd.ddd [d] ";

bool is_entry_head(std::string_view line) {
    if (line.size() < time_shape.size()) {
        return false;
    }
    for (size_t at = 0; at < time_shape.size(); ++at) {
        bool const fits = time_shape[at] == 'd' ? std::isdigit(static_cast<unsigned char>(line[at])) != 0
                                                : line[at] == time_shape[at];
        if (!fits) {
            return false;
        }
    }
    return true;
}

LogEntry parse(std::string const& line) {
    LogEntry entry;
    size_t const level_at = time_shape.find("[d]");
    entry.time = line.substr(0, level_at - 1);
    entry.level = line[level_at + 1] - '0';
    entry.whole = line.substr(level_at);
    entry.text = line.substr(time_shape.size());
    size_t const close = entry.text.find("] ");
    if (entry.text.starts_with('[') && close != std::string::npos) {
        entry.node = entry.text.substr(1, close - 1);
        entry.text = entry.text.substr(close + 2);
    }
    return entry;
}

}  // namespace

void DaemonLog::add_line(std::string const& line) {
    std::lock_guard const lock(mutex_);
    raw_.append(line).append("\n");
    if (is_entry_head(line)) {
        entries_.push_back(parse(line));
    } else if (!entries_.empty()) {
        entries_.back().text.append("\n").append(line);
        entries_.back().whole.append("\n").append(line);
    }
    changed_.notify_all();
}

void DaemonLog::end() {
    std::lock_guard const lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

void DaemonLog::begin() {
    std::lock_guard const lock(mutex_);
    ended_ = false;
}

size_t DaemonLog::mark() const {
    std::lock_guard const lock(mutex_);
    return entries_.size();
}

std::vector<LogEntry> DaemonLog::entries(size_t since) const {
    std::lock_guard const lock(mutex_);
    return {entries_.begin() + static_cast<std::ptrdiff_t>(std::min(since, entries_.size())), entries_.end()};
}

std::vector<LogEntry> DaemonLog::matching(std::string const& part, size_t since) const {
    std::vector<LogEntry> found = entries(since);
    std::erase_if(found, [&part](LogEntry const& entry) { return entry.whole.find(part) == std::string::npos; });
    return found;
}

int DaemonLog::count(std::string const& part, size_t since) const {
    return static_cast<int>(matching(part, since).size());
}

int DaemonLog::count(int level, std::string const& node, std::string const& text, size_t since) const {
    std::vector<LogEntry> const all = entries(since);
    return static_cast<int>(std::count_if(all.begin(), all.end(), [&](LogEntry const& entry) {
        return entry.level == level && entry.node == node && entry.text == text;
    }));
}

std::optional<LogEntry> DaemonLog::wait_for(std::string const& part, Limit limit, size_t since) const {
    auto const end = std::chrono::steady_clock::now() + limit;
    std::unique_lock lock(mutex_);
    for (;;) {
        for (size_t at = since; at < entries_.size(); ++at) {
            if (entries_[at].whole.find(part) != std::string::npos) {
                return entries_[at];
            }
        }
        if (ended_ || changed_.wait_until(lock, end) == std::cv_status::timeout) {
            return std::nullopt;
        }
    }
}

std::string DaemonLog::raw() const {
    std::lock_guard const lock(mutex_);
    return raw_;
}

std::string DaemonLog::text(size_t since) const {
    std::string result;
    for (LogEntry const& entry : entries(since)) {
        result.append(entry.time).append(" ").append(entry.whole).append("\n");
    }
    return result;
}
