#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <modbus/modbus.h>

#include "ctl/line/pty_line.h"

/// A Modbus RTU slave of libmodbus, which we did not write, at the far end of a serial line. Coils, discrete inputs,
/// holding and input registers have the addresses 0 to 2999 each and begin as 0; what lies behind is refused with
/// exception 2.
class LibmodbusSlave {
 public:
    static constexpr int size = 3000;

    /// The line is opened under `path`. Raises std::runtime_error or std::system_error.
    LibmodbusSlave(std::string const& path, int address);
    ~LibmodbusSlave();
    LibmodbusSlave(LibmodbusSlave const&) = delete;
    LibmodbusSlave& operator=(LibmodbusSlave const&) = delete;

    std::string const& path() const { return line_.path(); }

    /// Runs `action` while the slave answers nobody.
    void with_image(std::function<void(modbus_mapping_t&)> const& action);

    void set_holding(int first, std::vector<uint16_t> const& values);

    /// The frames that it took, as hexadecimal text.
    std::vector<std::string> requests();

 private:
    void make_context();
    void work(std::stop_token const& stop);

    PtyLine line_;
    int address_;
    std::mutex mutex_;
    std::unique_ptr<modbus_t, void (*)(modbus_t*)> context_;
    std::unique_ptr<modbus_mapping_t, void (*)(modbus_mapping_t*)> image_;
    std::vector<std::string> requests_;
    std::jthread thread_;
};
