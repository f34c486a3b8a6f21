#include "ctl/line/serial_peer.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "ctl/line/wait_until.h"

SerialPeer::SerialPeer(std::string const& path) : line_(path) {
    thread_ = std::jthread([this](std::stop_token const& stop) { work(stop); });
}

void SerialPeer::work(std::stop_token const& stop) {
    if (serve(line_.master(), stop, [this] { return line_.settings(); }) == End::hang_up) {
        wait_until_read();
        line_.unplug();
    }
}

void SerialPeer::wait_until_read() {
    int const line = open(line_.device().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    wait_until(
        [line] {
            int waiting = 0;
            return ioctl(line, FIONREAD, &waiting) != 0 || waiting == 0;
        },
        std::chrono::milliseconds(500));
    close(line);
}

void SerialPeer::plug() {
    unplug();
    line_.plug();
    thread_ = std::jthread([this](std::stop_token const& stop) { work(stop); });
}

void SerialPeer::unplug() {
    stop();
    line_.unplug();
}

void SerialPeer::send(std::string const& frame) {
    write_bytes(line_.master(), hex::bytes(frame));
}
