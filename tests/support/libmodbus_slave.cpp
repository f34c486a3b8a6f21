#include "support/libmodbus_slave.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>

#include <poll.h>
#include <unistd.h>

#include "ctl/line/hex.h"

namespace {

/// How soon a stop is noticed.
constexpr int look_ms = 10;
/// A frame that has begun and doesn't go on is given up.
constexpr uint32_t indication_wait_us = 200'000;

void read_away(int fd) {
    std::array<unsigned char, 256> waste;
    pollfd entry{fd, POLLIN, 0};
    while (poll(&entry, 1, 0) > 0 && read(fd, waste.data(), waste.size()) > 0) {
    }
}

}  // namespace

LibmodbusSlave::LibmodbusSlave(std::string const& path, int address)
    : line_(path),
      address_(address),
      context_(nullptr, &modbus_free),
      image_(modbus_mapping_new(size, size, size, size), &modbus_mapping_free) {
    make_context();
    thread_ = std::jthread([this](std::stop_token const& stop) { work(stop); });
}

LibmodbusSlave::~LibmodbusSlave() {
    thread_.request_stop();
    thread_.join();
}

void LibmodbusSlave::make_context() {
    // Never connected: the device and its settings aren't used, the context is given the descriptor of the line.
    context_.reset(modbus_new_rtu("/dev/null", 9600, 'N', 8, 1));
    if (!context_ || !image_ || modbus_set_slave(context_.get(), address_) != 0 ||
        modbus_set_socket(context_.get(), line_.master()) != 0 ||
        modbus_set_indication_timeout(context_.get(), 0, indication_wait_us) != 0) {
        throw std::runtime_error(std::string("libmodbus : ") + modbus_strerror(errno));
    }
}

void LibmodbusSlave::work(std::stop_token const& stop) {
    while (!stop.stop_requested()) {
        pollfd entry{line_.master(), POLLIN, 0};
        if (poll(&entry, 1, look_ms) <= 0) {
            continue;
        }
        std::array<uint8_t, MODBUS_RTU_MAX_ADU_LENGTH> request{};
        int const length = modbus_receive(context_.get(), request.data());
        if (length < 0) {
            read_away(line_.master());
        } else if (length == 0) {
            // A request to another slave. The library would now take the next frame for that one's answer, which never
            // comes on a line with a single slave.
            make_context();
        } else {
            std::lock_guard const lock(mutex_);
            requests_.push_back(hex::text(std::span(request).first(static_cast<size_t>(length))));
            modbus_reply(context_.get(), request.data(), length, image_.get());
        }
    }
}

void LibmodbusSlave::with_image(std::function<void(modbus_mapping_t&)> const& action) {
    std::lock_guard const lock(mutex_);
    action(*image_);
}

void LibmodbusSlave::set_holding(int first, std::vector<uint16_t> const& values) {
    with_image([&](modbus_mapping_t& image) { std::copy(values.begin(), values.end(), image.tab_registers + first); });
}

std::vector<std::string> LibmodbusSlave::requests() {
    std::lock_guard const lock(mutex_);
    return requests_;
}
