#include "ctl/line/pseudo_terminal.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(std::string const& what) {
    int const error = errno;
    throw std::system_error(error, std::generic_category(), what);
}

}  // namespace

PseudoTerminal::PseudoTerminal(std::string const& link) : link_(link) {
    try {
        open_pair();
        make_link();
    } catch (...) {
        close_pair();
        throw;
    }
}

PseudoTerminal::~PseudoTerminal() {
    std::error_code ignored;
    if (fs::read_symlink(link_, ignored) == line_) {
        fs::remove(link_, ignored);
    }
    close_pair();
}

void PseudoTerminal::open_pair() {
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) {
        fail("pseudo-terminal");
    }
    std::array<char, 128> name{};
    if (ptsname_r(master_, name.data(), name.size()) != 0) {
        fail("ptsname");
    }
    line_ = name.data();
    slave_ = ::open(line_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    if (slave_ < 0 || tcgetattr(slave_, &settings) != 0) {
        fail(line_);
    }
    // Without it the terminal would send every answer back as a request until the first poller sets the line up.
    cfmakeraw(&settings);
    if (tcsetattr(slave_, TCSANOW, &settings) != 0) {
        fail(line_);
    }
}

void PseudoTerminal::make_link() {
    std::error_code ignored;
    if (fs::is_symlink(fs::symlink_status(link_, ignored))) {
        fs::remove(link_, ignored);
    }
    fs::create_symlink(line_, link_);
}

void PseudoTerminal::close_pair() {
    for (int* const fd : {&slave_, &master_}) {
        if (*fd >= 0) {
            ::close(*fd);
            *fd = -1;
        }
    }
}
