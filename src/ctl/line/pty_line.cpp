#include "ctl/line/pty_line.h"

#include <utility>

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <sys/ioctl.h>

PtyLine::PtyLine(std::string path) : path_(std::move(path)) {
    plug();
}

LineSettings PtyLine::settings() const {
    termios2 line = {};
    if (ioctl(master(), TCGETS2, &line) != 0) {
        return {};
    }
    LineSettings result;
    result.baudrate = line.c_ospeed;
    result.stop_bits = (line.c_cflag & CSTOPB) != 0 ? 2 : 1;
    result.software_flow = (line.c_iflag & (IXON | IXOFF)) != 0;
    result.hardware_flow = (line.c_cflag & CRTSCTS) != 0;
    return result;
}
