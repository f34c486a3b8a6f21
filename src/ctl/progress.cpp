#include "ctl/progress.h"

#include <algorithm>
#include <cstdio>

#include <sys/ioctl.h>
#include <unistd.h>

#include "ctl/language/phrase.h"

namespace {

using xCommon::xString;

constexpr size_t bar_width = 24;
constexpr auto redraw_interval = std::chrono::milliseconds(200);

/// "2:05", or "1:02:05".
std::string time_text(long long seconds) {
    long long const minutes = seconds / 60;
    return minutes < 60 ? xString::Format("%d:%02d", minutes, seconds % 60)
                        : xString::Format("%d:%02d:%02d", minutes / 60, minutes % 60, seconds % 60);
}

size_t terminal_width() {
    winsize size = {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

/// In characters of one or more bytes.
std::string cut(std::string const& text, size_t characters) {
    size_t at = 0;
    for (size_t count = 0; at < text.size() && count < characters; ++count) {
        at += std::max<size_t>(xString::utf8_length(std::string_view(text).substr(at)), 1);
    }
    return text.substr(0, at);
}

}  // namespace

Progress::Progress(size_t pieces) : pieces_(std::max<size_t>(pieces, 1)), is_terminal_(isatty(STDERR_FILENO) != 0) {}

void Progress::show(size_t done, std::string const& under_way) {
    auto const now = Clock::now();
    if (!is_terminal_ || (is_shown_ && now - last_ < redraw_interval)) {
        return;
    }
    last_ = now;
    done = std::min(done, pieces_);
    std::string const bar(done * bar_width / pieces_, '#');
    std::string line = xString::Format("[%-*s] %3d %%  ", static_cast<int>(bar_width), bar, done * 100 / pieces_);
    if (done > 0) {
        auto const left = std::chrono::duration<double>(now - start_) / done * (pieces_ - done);
        line += say("%s left", time_text(std::chrono::ceil<std::chrono::seconds>(left).count())) + "  ";
    }
    // The last column stays free: a terminal would go on to the next line behind it.
    std::fprintf(stderr, "\r%s\033[K", cut(line + under_way, terminal_width() - 1).c_str());
    is_shown_ = true;
}

void Progress::hide() {
    if (is_shown_) {
        std::fputs("\r\033[K", stderr);
        is_shown_ = false;
    }
}
