#include "support/log_capture.h"

#include <algorithm>
#include <fstream>

using xCommon::xLog;

LogCapture::LogCapture(bool debug) : log_(folder_.path(), "test.log", 100, debug, false) {
    xLog::gv = &log_;
}

LogCapture::~LogCapture() {
    xLog::gv = nullptr;
}

std::vector<std::string> LogCapture::entries() const {
    constexpr size_t time_size = sizeof("2026-01-31 12:00:00.000 ") - 1;
    xLog::gv->flush();
    std::ifstream file(folder_.file("test.log"));
    std::vector<std::string> found;
    for (std::string line; std::getline(file, line);) {
        bool const is_head = line.size() > time_size + 2 && line[4] == '-' && line[time_size - 1] == ' ' &&
                             line[time_size] == '[' && line[time_size + 2] == ']';
        if (is_head) {
            found.push_back(line.substr(time_size));
        } else if (!found.empty()) {
            found.back().append("\n").append(line);
        }
    }
    found.erase(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(std::min(skipped_, found.size())));
    return found;
}

int LogCapture::count(std::string const& text) const {
    auto const all = entries();
    return static_cast<int>(std::count_if(
        all.begin(), all.end(), [&text](std::string const& entry) { return entry.find(text) != std::string::npos; }));
}

void LogCapture::clear() {
    skipped_ += entries().size();
}
