#include "support/log_capture.h"

#include <algorithm>
#include <fstream>
#include <regex>

using xCommon::xLog;

LogCapture::LogCapture(bool debug) : log_(folder_.path(), "test.log", 100, debug, false) { xLog::gv = &log_; }

LogCapture::~LogCapture() { xLog::gv = nullptr; }

std::vector<std::string> LogCapture::entries() const {
    static std::regex const head("^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:.]{12} (\\[[1-4]\\] .*)$");
    xLog::gv->flush();
    std::ifstream file(folder_.file("test.log"));
    std::vector<std::string> found;
    for (std::string line; std::getline(file, line);) {
        std::smatch match;
        if (std::regex_match(line, match, head)) {
            found.push_back(match[1]);
        } else if (!found.empty()) {
            found.back().append("\n").append(line);
        }
    }
    found.erase(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(std::min(skipped_, found.size())));
    return found;
}

int LogCapture::count(std::string const& text) const {
    auto const all = entries();
    return static_cast<int>(std::count_if(all.begin(), all.end(), [&text](std::string const& entry) {
        return entry.find(text) != std::string::npos;
    }));
}

void LogCapture::clear() { skipped_ += entries().size(); }
