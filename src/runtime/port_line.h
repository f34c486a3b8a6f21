#pragma once

#include <memory>

#include "config/cport.h"
#include "transport/itran.h"

class DevBase;
class Exchange;
class PortHost;

/// The line of a port: its transport, the settings that it has at the moment, and when it is open. Used by the worker
/// of the port alone.
class PortLine {
 public:
    /// `host` may be null: see PortHost.
    PortLine(CPort& node, PortHost* host) : node_(node), host_(host) {}

    /// Sets the serial line up for a device. Where its personal settings can't be opened, the port's own come back
    /// into force and `line_ready` is false. A driver with a Poll of its own begins it with this call.
    void check_for_personal_rs(DevBase* dev);
    /// Opens the line, if it isn't open, for a device that connects for itself, and for any other that finds the line
    /// closed because such a device is on the port too.
    void open_line(bool connects);
    /// Closes it behind the poll of a device with `poll_reconnect`.
    void release_line();

    /// A line of the kind that the port's type word names.
    static std::unique_ptr<iTran> real_line(CPort& node);

    std::unique_ptr<iTran> tran;
    /// The line has the settings of the device that check_for_personal_rs() was last called for.
    bool line_ready = true;
    /// A device with `poll_reconnect` has closed the line behind its poll.
    bool line_released = false;

    /// Size of the scratch for the drivers' frames.
    static constexpr int buffer_size = 1024;

 protected:
    /// A stopped port has no transport; a start makes it anew.
    void make_transport();
    /// A dead peer costs one attempt for each device and pass.
    void begin_sweep() { open_failed_ = false; }
    /// The settings in force may be those of the device that was polled last, for a line that is away, and the other
    /// devices must go on.
    bool reopen_with_own_settings();
    bool is_released() const { return line_released && tran && !tran->is_open(); }

    unsigned char buffer[buffer_size] = {};

 private:
    friend Exchange;

    CPort& node_;
    PortHost* host_;
    /// The line was tried in this device's sweep and didn't open.
    bool open_failed_ = false;
};
