#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "ctl/check/loading.h"
#include "runtime/hosted_ports.h"

/// Ports of a configuration on their real lines, asked once in place of the daemon.
class LivePorts : public HostedPorts {
 public:
    ~LivePorts() override { ports_.clear(); }
    std::unique_ptr<iTran> make_line(CPort& node) override;
};

/// Raises std::runtime_error, with who it is, for a serial line of the port that another process holds.
void claim_lines(CPort const& port);

/// The lines of the log while it stands: those of failures, and those of frames to `frames`, if it is given.
class LiveLog {
 public:
    struct Line {
        CBase const* node;  ///< null: none of the port's
        xCommon::LMT type;
        std::string text;
    };

    /// The name of a port's node, direction and bytes of a frame.
    using Frames = std::function<void(std::string const& text)>;
    LiveLog(CBase const& port, Frames frames);

    std::vector<Line> const& lines() const { return lines_; }
    void clear() { lines_.clear(); }
    /// Why a parameter has no value: its own failures, otherwise those of its device, its port and the driver.
    std::string reason(CBase const& param) const;
    bool has(char const* piece) const;
    bool has_failure() const;

 private:
    void hear(xCommon::LMT type, std::string const* name, std::string_view text);

    CBase const& port_;
    Frames frames_;
    std::vector<Line> lines_;
    LogListener listener_;
};
