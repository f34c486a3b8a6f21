#include "sim/rtu_slave.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace sim {

namespace {

/// The library asks for a device and its settings, and uses neither: the context is never connected, it is given its
/// descriptor instead.
constexpr char unused_device[] = "/dev/null";
constexpr int unused_rate = 9600;
/// A frame that has begun and doesn't go on is given up.
constexpr uint32_t indication_wait_us = 200'000;

[[noreturn]] void fail(char const* what) {
    throw std::runtime_error(std::string(what) + " : " + modbus_strerror(errno));
}

}  // namespace

RtuSlave::RtuSlave(int descriptor, int address)
    : context_(modbus_new_rtu(unused_device, unused_rate, 'N', 8, 1), &modbus_free),
      descriptor_(descriptor),
      registers_(address),
      start_(std::chrono::steady_clock::now()) {
    if (!context_) {
        fail("modbus_new_rtu");
    }
    if (modbus_set_slave(context_.get(), address) != 0) {
        fail("modbus_set_slave");
    }
    if (modbus_set_socket(context_.get(), descriptor) != 0) {
        fail("modbus_set_socket");
    }
    if (modbus_set_indication_timeout(context_.get(), 0, indication_wait_us) != 0) {
        fail("modbus_set_indication_timeout");
    }
}

bool RtuSlave::serve() {
    std::array<uint8_t, MODBUS_RTU_MAX_ADU_LENGTH> request{};
    int const length = modbus_receive(context_.get(), request.data());
    if (length < 0) {
        if (errno == EIO || errno == EBADF) {
            return false;
        }
        drain();
        return true;
    }
    if (length == 0) {
        return true;  // another slave's
    }
    registers_.refresh(std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count());
    return modbus_reply(context_.get(), request.data(), length, registers_.mapping()) >= 0 || errno != EIO;
}

void RtuSlave::drain() {
    std::array<uint8_t, 256> scrap{};
    pollfd line{descriptor_, POLLIN, 0};
    while (poll(&line, 1, 0) > 0 && (line.revents & POLLIN) != 0) {
        if (read(descriptor_, scrap.data(), scrap.size()) <= 0) {
            return;
        }
    }
}

}  // namespace sim
