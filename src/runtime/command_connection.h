#pragma once

#include "runtime/dev_base.h"
#include "runtime/port_base.h"

/// The connection of one command to a device with `poll_reconnect`: opened if it isn't, closed at the end of the scope,
/// also when the command ends in an exception. For all other devices it does nothing.
class CommandConnection {
 public:
    explicit CommandConnection(DevBase& device) : device_(device) {
        if (device_.cfg->poll_reconnect && !device_.port->tran->is_open()) {
            device_.port->tran->open();
        }
    }
    ~CommandConnection() {
        if (device_.cfg->poll_reconnect) {
            device_.port->tran->close();
        }
    }
    CommandConnection(CommandConnection const&) = delete;
    CommandConnection& operator=(CommandConnection const&) = delete;

 private:
    DevBase& device_;
};
