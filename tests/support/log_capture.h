#pragma once

#include <string>
#include <vector>

#include "foundation/xlog.h"
#include "support/temp_folder.h"

/// The process log of a test: becomes xLog::gv for its scope and hands out what was written.
class LogCapture {
 public:
    explicit LogCapture(bool debug = true);
    ~LogCapture();
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    /// Everything written so far, each entry without its time: "[3] [node] text".
    std::vector<std::string> entries() const;
    /// Number of entries that contain the text.
    int count(std::string const& text) const;
    bool has(std::string const& text) const { return count(text) > 0; }
    void clear();

 private:
    TempFolder folder_;
    xCommon::xLog log_;
    size_t skipped_ = 0;
};
