#include "ctl/live/live_ports.h"

#include <algorithm>
#include <stdexcept>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "ctl/language/phrase.h"
#include "ctl/live/line_holder.h"
#include "runtime/port_line.h"

using xCommon::lmtError;

namespace {

/// What each failed poll ends with says nothing.
bool is_generic(std::string const& text) {
    return text.starts_with("ответ НЕ получен") && text.size() < sizeof("ответ НЕ получен.") + 1;
}

void add_line(std::string& text, std::string const& line) {
    if (text.find(line) == std::string::npos) {
        text += (text.empty() ? "" : "; ") + line;
    }
}

}  // namespace

std::unique_ptr<iTran> LivePorts::make_line(CPort& node) {
    return PortLine::real_line(node);
}

void claim_lines(CPort const& port) {
    if (!port.type_has("rs") || xserial::xrs::lock != xserial::xrs::Lock::own) {
        return;
    }
    std::set<std::string> paths{port.rs.path};
    for (auto const& child : port.children) {
        auto const* const device = dynamic_cast<CDev const*>(child.get());
        if (device != nullptr && device->enabled && device->personal_rs && !device->rs.path.empty()) {
            paths.insert(device->rs.path);
        }
    }
    for (std::string const& path : paths) {
        int const line = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (line < 0) {
            continue;  // the port tells it
        }
        bool const is_held = flock(line, LOCK_EX | LOCK_NB) != 0;
        std::string const holder = is_held ? line_holder(path) : std::string();
        close(line);
        if (is_held) {
            throw std::runtime_error(
                say("%s: another process holds the line: %s. Nothing was sent; --force asks all the same.", path,
                    holder.empty() ? "?" : holder));
        }
    }
}

LiveLog::LiveLog(CBase const& port, Frames frames)
    : port_(port),
      frames_(std::move(frames)),
      listener_([this](auto type, auto const* name, auto text) { hear(type, name, text); }) {}

void LiveLog::hear(xCommon::LMT type, std::string const* name, std::string_view text) {
    std::string line(text);
    bool const is_frame = line.starts_with("передача +") || line.starts_with("приём +");
    if (is_frame && frames_) {
        frames_(line);
    } else if (!is_frame) {
        lines_.push_back({name == nullptr ? nullptr : node_of(port_, name), type, std::move(line)});
    }
}

std::string LiveLog::reason(CBase const& param) const {
    for (CBase const* node :
         {&param, static_cast<CBase const*>(param.parent), &port_, static_cast<CBase const*>(nullptr)}) {
        std::string text;
        for (Line const& line : lines_) {
            if (line.type == lmtError && line.node == node && !is_generic(line.text)) {
                add_line(text, line.text);
            }
        }
        if (!text.empty()) {
            return text;
        }
    }
    return say("no answer");
}

bool LiveLog::has(char const* piece) const {
    return std::any_of(lines_.begin(), lines_.end(),
                       [piece](Line const& line) { return line.text.find(piece) != std::string::npos; });
}

bool LiveLog::has_failure() const {
    return std::any_of(lines_.begin(), lines_.end(), [](Line const& line) { return line.type == lmtError; });
}
