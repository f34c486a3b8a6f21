#include "sim/rtu_slave.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>

#include <poll.h>
#include <unistd.h>

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
    : descriptor_(descriptor),
      address_(address),
      context_(nullptr, &modbus_free),
      registers_(address),
      start_(std::chrono::steady_clock::now()) {
    make_context();
}

void RtuSlave::make_context() {
    context_.reset(modbus_new_rtu(unused_device, unused_rate, 'N', 8, 1));
    if (!context_) {
        fail("modbus_new_rtu");
    }
    if (modbus_set_slave(context_.get(), address_) != 0) {
        fail("modbus_set_slave");
    }
    if (modbus_set_socket(context_.get(), descriptor_) != 0) {
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
        // A request to another slave. The library would now take the next frame for that one's answer, which never
        // comes on a line with a single slave.
        make_context();
        return true;
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
