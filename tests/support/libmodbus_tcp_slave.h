#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include <modbus.h>

#include "support/free_port.h"

/// A Modbus TCP slave of libmodbus, which we did not write, on a free port of the loopback address. It answers to every
/// unit. Each of its four images has the addresses 0 to 2999 and begins as 0.
class LibmodbusTcpSlave {
 public:
    static constexpr int size = 3000;

    /// Raises std::runtime_error when it can't listen.
    LibmodbusTcpSlave();
    ~LibmodbusTcpSlave();
    LibmodbusTcpSlave(LibmodbusTcpSlave const&) = delete;
    LibmodbusTcpSlave& operator=(LibmodbusTcpSlave const&) = delete;

    int port() const { return port_.number(); }
    /// Runs `action` while the slave answers nobody.
    void with_image(std::function<void(modbus_mapping_t&)> const& action);

 private:
    void work(std::stop_token const& stop);

    FreePort port_;
    std::mutex mutex_;
    std::unique_ptr<modbus_t, void (*)(modbus_t*)> context_;
    std::unique_ptr<modbus_mapping_t, void (*)(modbus_mapping_t*)> image_;
    int listener_ = -1;
    std::jthread thread_;
};
