#pragma once

#include "runtime/dev_base.h"
#include "runtime/port_base.h"

/// The connection of one command to a device with `poll_reconnect`: opened if it isn't, closed at the end of the scope,
/// also when the command ends in an exception. Any other device finds the line open that one of those has closed behind
/// its poll.
class CommandConnection {
 public:
    explicit CommandConnection(DevBase& device) : device_(device) {
        device_.port->open_line(device_.cfg->poll_reconnect);
    }
    ~CommandConnection() {
        if (device_.cfg->poll_reconnect) {
            device_.port->release_line();
        }
    }
    CommandConnection(CommandConnection const&) = delete;
    CommandConnection& operator=(CommandConnection const&) = delete;

 private:
    DevBase& device_;
};
