#include "ctl/line/pty_line.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(std::string const& what) {
    int const error = errno;
    throw std::system_error(error, std::generic_category(), what);
}

}  // namespace

// The other constructor makes it a whole object: when plug() raises, what it has opened is closed.
PtyLine::PtyLine(std::string path) : PtyLine() {
    path_ = std::move(path);
    plug();
}

void PtyLine::plug() {
    unplug();
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) {
        fail("pseudo-terminal");
    }
    std::array<char, 128> name{};
    if (ptsname_r(master_, name.data(), name.size()) != 0) {
        fail("ptsname");
    }
    device_ = name.data();
    slave_ = ::open(device_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios2 line{};
    if (slave_ < 0 || ioctl(slave_, TCGETS2, &line) != 0) {
        fail(device_);
    }
    // Raw: without it the terminal would send every answer back as a request until the first poller sets the line up.
    line.c_iflag = line.c_oflag = line.c_lflag = 0;
    if (ioctl(slave_, TCSETS2, &line) != 0) {
        fail(device_);
    }
    std::error_code ignored;
    if (fs::is_symlink(fs::symlink_status(path_, ignored))) {
        fs::remove(path_, ignored);
    }
    fs::create_symlink(device_, path_);
}

void PtyLine::unplug() {
    std::error_code ignored;
    if (!device_.empty() && fs::read_symlink(path_, ignored) == device_) {
        fs::remove(path_, ignored);
    }
    device_.clear();
    for (int* const fd : {&slave_, &master_}) {
        if (*fd >= 0) {
            ::close(*fd);
            *fd = -1;
        }
    }
}

LineSettings PtyLine::settings() const {
    termios2 line{};
    if (ioctl(master_, TCGETS2, &line) != 0) {
        return {};
    }
    LineSettings result;
    result.baudrate = line.c_ospeed;
    result.stop_bits = (line.c_cflag & CSTOPB) != 0 ? 2 : 1;
    result.software_flow = (line.c_iflag & (IXON | IXOFF)) != 0;
    result.hardware_flow = (line.c_cflag & CRTSCTS) != 0;
    return result;
}
