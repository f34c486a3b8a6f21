#include "support/libmodbus_tcp_slave.h"

#include <array>
#include <cerrno>
#include <stdexcept>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

/// How soon a stop is noticed.
constexpr int look_ms = 10;

}  // namespace

LibmodbusTcpSlave::LibmodbusTcpSlave()
    : context_(modbus_new_tcp("127.0.0.1", port_.number()), &modbus_free),
      image_(modbus_mapping_new(size, size, size, size), &modbus_mapping_free) {
    listener_ = context_ ? modbus_tcp_listen(context_.get(), 16) : -1;
    if (listener_ < 0 || !image_) {
        throw std::runtime_error(std::string("libmodbus : ") + modbus_strerror(errno));
    }
    thread_ = std::jthread([this](std::stop_token const& stop) { work(stop); });
}

LibmodbusTcpSlave::~LibmodbusTcpSlave() {
    thread_.request_stop();
    thread_.join();
    close(listener_);
}

void LibmodbusTcpSlave::work(std::stop_token const& stop) {
    std::vector<pollfd> sockets{{listener_, POLLIN, 0}};
    while (!stop.stop_requested()) {
        if (poll(sockets.data(), sockets.size(), look_ms) <= 0) {
            continue;
        }
        for (size_t index = sockets.size(); index-- > 1;) {
            if (sockets[index].revents == 0) {
                continue;
            }
            std::lock_guard const lock(mutex_);
            modbus_set_socket(context_.get(), sockets[index].fd);
            std::array<uint8_t, MODBUS_TCP_MAX_ADU_LENGTH> request{};
            int const length = modbus_receive(context_.get(), request.data());
            if (length > 0) {
                modbus_reply(context_.get(), request.data(), length, image_.get());
            } else if (length < 0) {
                close(sockets[index].fd);
                sockets.erase(sockets.begin() + static_cast<std::ptrdiff_t>(index));
            }
        }
        if ((sockets[0].revents & POLLIN) != 0) {
            sockets.push_back({accept(listener_, nullptr, nullptr), POLLIN, 0});
        }
    }
    for (size_t index = 1; index < sockets.size(); ++index) {
        close(sockets[index].fd);
    }
}

void LibmodbusTcpSlave::with_image(std::function<void(modbus_mapping_t&)> const& action) {
    std::lock_guard const lock(mutex_);
    action(*image_);
}
