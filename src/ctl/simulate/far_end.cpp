#include "ctl/simulate/far_end.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace sim {

namespace {

/// What nobody reads is lost, as on a line: the others mustn't wait for it.
void send_what_fits(int descriptor, View data) {
    while (!data.empty()) {
        ssize_t const sent = write(descriptor, data.data(), data.size());
        if (sent <= 0 && errno != EINTR) {
            return;
        }
        data = data.subspan(static_cast<size_t>(std::max<ssize_t>(sent, 0)));
    }
}

void never_wait(int descriptor) {
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

}  // namespace

bool Devices::add(CDev& node) {
    for (auto const& device : devices_) {
        if (device->take(node)) {
            return true;
        }
    }
    std::unique_ptr<Device> device = make_device(node);
    if (!device || !device->take(node)) {
        return false;
    }
    devices_.push_back(std::move(device));
    return true;
}

Bytes Devices::answer(View request, double seconds) {
    for (auto const& device : devices_) {
        Bytes const reply = device->answer(request, seconds);
        if (!reply.empty()) {
            return faults_.strikes() ? faults_.spoilt(*device, request, reply) : reply;
        }
    }
    return {};
}

/// A request is whole when a device has an answer to it: until then there may be more to come.
bool Conversation::serve(bool is_ready, Devices& devices, double seconds) {
    constexpr size_t most = 4096;
    constexpr double pause_s = std::chrono::duration<double>(pause).count();
    if (!is_ready) {
        if (seconds - heard_s_ >= pause_s) {
            request_.clear();
        }
        return true;
    }
    std::array<unsigned char, 2048> piece{};
    ssize_t const got = read(descriptor_, piece.data(), piece.size());
    if (got <= 0) {
        return got < 0 && (errno == EAGAIN || errno == EINTR);
    }
    if (seconds - heard_s_ >= pause_s || request_.size() > most) {
        request_.clear();
    }
    heard_s_ = seconds;
    request_.insert(request_.end(), piece.begin(), piece.begin() + got);
    Bytes const reply = devices.answer(request_, seconds);
    if (!reply.empty()) {
        request_.clear();
        send_what_fits(descriptor_, reply);
    }
    return true;
}

SerialEnd::SerialEnd(std::string const& link, Devices& devices)
    : line_(link), conversation_(line_.master()), devices_(devices) {
    never_wait(line_.master());
}

void SerialEnd::serve(std::span<pollfd const> ready, double seconds) {
    conversation_.serve(ready[0].revents != 0, devices_, seconds);
}

std::chrono::milliseconds SerialEnd::patience() const {
    return conversation_.is_open() ? Conversation::pause : longest_patience;
}

TcpEnd::~TcpEnd() {
    for (Conversation const& connection : connections_) {
        close(connection.descriptor());
    }
}

std::vector<int> TcpEnd::awaited() const {
    std::vector<int> descriptors = {listener_.descriptor()};
    for (Conversation const& connection : connections_) {
        descriptors.push_back(connection.descriptor());
    }
    return descriptors;
}

void TcpEnd::serve(std::span<pollfd const> ready, double seconds) {
    size_t place = 1;
    for (auto connection = connections_.begin(); connection != connections_.end();) {
        bool const stays = connection->serve(ready[place++].revents != 0, devices_, seconds);
        if (!stays) {
            close(connection->descriptor());
        }
        connection = stays ? std::next(connection) : connections_.erase(connection);
    }
    if (ready[0].revents != 0) {
        int const descriptor = listener_.accept();
        if (descriptor >= 0) {
            never_wait(descriptor);
            connections_.emplace_back(descriptor);
        }
    }
}

std::chrono::milliseconds TcpEnd::patience() const {
    bool const any = std::any_of(connections_.begin(), connections_.end(),
                                 [](Conversation const& connection) { return connection.is_open(); });
    return any ? Conversation::pause : longest_patience;
}

}  // namespace sim
