#include "foundation/serial_line.h"

#include <cerrno>
#include <cstring>
#include <thread>

#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "foundation/deadline.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace xserial {

using xCommon::Deadline;
using xCommon::jUtils;

namespace {

/// A word of a key, and what it means to termios.
template <typename T>
struct Word {
    char const* text;
    T value;
    tcflag_t input_flags;
    tcflag_t control_flags;
};

constexpr Word<parity_t> parity_words[] = {{"none", parity_t::none, 0, 0},
                                           {"odd", parity_t::odd, INPCK, PARENB | PARODD},
                                           {"even", parity_t::even, INPCK, PARENB},
                                           {"mark", parity_t::mark, INPCK, PARENB | PARODD | CMSPAR},
                                           {"space", parity_t::space, INPCK, PARENB | CMSPAR}};

constexpr Word<flowcontrol_t> flowcontrol_words[] = {{"none", flowcontrol_t::none, 0, 0},
                                                     {"software", flowcontrol_t::software, IXON | IXOFF, 0},
                                                     {"hardware", flowcontrol_t::hardware, 0, CRTSCTS}};

/// By the number of bits; 8 for one that is none.
constexpr tcflag_t size_flags[] = {CS8, CS8, CS8, CS8, CS8, CS5, CS6, CS7, CS8};

template <typename T>
T look_up(std::span<Word<T> const> words, Json::Value const& value, T fallback) {
    if (value.isNull()) {
        return fallback;
    }
    if (value.isString()) {
        for (Word<T> const& word : words) {
            if (value.asString() == word.text) {
                return word.value;
            }
        }
    }
    return T::invalid;
}

bytesize_t read_bytesize(Json::Value const& value) {
    if (value.isNull()) {
        return bytesize_t::eight;
    }
    int const bits = value.isInt() ? value.asInt() : 0;
    return bits >= 5 && bits <= 8 ? static_cast<bytesize_t>(bits) : bytesize_t::invalid;
}

stopbits_t read_stopbits(Json::Value const& value) {
    if (value.isNull()) {
        return stopbits_t::one;
    }
    double const bits = value.isNumeric() ? value.asDouble() : 0;
    if (bits == 1.0) {
        return stopbits_t::one;
    }
    if (bits == 1.5) {
        return stopbits_t::one_and_half;
    }
    return bits == 2.0 ? stopbits_t::two : stopbits_t::invalid;
}

struct Rate {
    unsigned int rate;
    tcflag_t flag;
};

/// Rates with a name of their own; any other goes to the driver as a number (termios2).
constexpr Rate named_rates[] = {
    {50, B50},         {75, B75},         {110, B110},       {134, B134},       {150, B150},        {200, B200},
    {300, B300},       {600, B600},       {1200, B1200},     {1800, B1800},     {2400, B2400},      {4800, B4800},
    {9600, B9600},     {19200, B19200},   {38400, B38400},   {57600, B57600},   {115200, B115200},  {230400, B230400},
    {460800, B460800}, {500000, B500000}, {576000, B576000}, {921600, B921600}, {1000000, B1000000}};

tcflag_t rate_flag(unsigned int baudrate) {
    for (Rate const& row : named_rates) {
        if (row.rate == baudrate) {
            return row.flag;
        }
    }
    return BOTHER;
}

template <typename T>
void set_flags(termios2& settings, std::span<Word<T> const> words, T value) {
    for (Word<T> const& word : words) {
        if (word.value == value) {
            settings.c_iflag |= word.input_flags;
            settings.c_cflag |= word.control_flags;
        }
    }
}

}  // namespace

xco::xco(Json::Value const& node) {
    if (!jUtils::has(node, "rs")) {
        return;
    }
    present = true;
    Json::Value const& rs = jUtils::at(node, "rs");
    if (!rs.isObject()) {
        baudrate = 0;
        return;
    }
    Json::Value const& path_value = rs["path"];
    path = path_value.isString() ? path_value.asString() : std::string();
    Json::Value const& rate_value = rs["baudrate"];
    if (!rate_value.isNull()) {
        baudrate = rate_value.isUInt() ? rate_value.asUInt() : 0;
    }
    bytesize = read_bytesize(rs["bytesize"]);
    parity = look_up<parity_t>(parity_words, rs["parity"], parity_t::none);
    stopbits = read_stopbits(rs["stopbits"]);
    flowcontrol = look_up<flowcontrol_t>(flowcontrol_words, rs["flowcontrol"], flowcontrol_t::none);
}

bool xco::compare(xco const& other) const {
    return path == other.path && baudrate == other.baudrate && bytesize == other.bytesize && parity == other.parity &&
           stopbits == other.stopbits && flowcontrol == other.flowcontrol;
}

bool xco::validate() const {
    return present && !path.empty() && baudrate != 0 && bytesize != bytesize_t::invalid &&
           parity != parity_t::invalid && stopbits != stopbits_t::invalid && flowcontrol != flowcontrol_t::invalid;
}

xrs::xrs(std::string const& path, unsigned int baudrate, Timeout const& timeout, bytesize_t bytesize, parity_t parity,
         stopbits_t stopbits, flowcontrol_t flowcontrol)
    : path_(path),
      baudrate_(baudrate),
      timeout_(timeout),
      bytesize_(bytesize),
      parity_(parity),
      stopbits_(stopbits),
      flowcontrol_(flowcontrol) {}

xrs::Lock xrs::lock = xrs::Lock::shared;

xrs::~xrs() {
    close();
}

void xrs::open() {
    close();
    // Non-blocking: the open must not wait for a carrier, and every later wait has its own deadline.
    fd_ = ::open(path_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd_ < 0) {
        throw xCommon::xExceptionf("%s : %s", path_, std::strerror(errno));
    }
    try {
        // Ahead of the settings: they are of the line that the holder uses.
        is_held_ = flock(fd_, (lock == Lock::own ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0 && errno == EWOULDBLOCK;
        if (is_held_ && lock == Lock::own) {
            throw LineHeld(path_);
        }
        configure();
    } catch (...) {
        close();
        throw;
    }
}

void xrs::configure() {
    termios2 settings = {};
    if (ioctl(fd_, TCGETS2, &settings) != 0) {
        throw xCommon::xExceptionf("%s : %s", path_, std::strerror(errno));
    }
    settings.c_iflag = 0;
    settings.c_oflag = 0;
    settings.c_lflag = 0;
    settings.c_cflag = CREAD | CLOCAL | rate_flag(baudrate_) | size_flags[static_cast<size_t>(bytesize_)];
    set_flags<parity_t>(settings, parity_words, parity_);
    set_flags<flowcontrol_t>(settings, flowcontrol_words, flowcontrol_);
    if (stopbits_ != stopbits_t::one) {
        settings.c_cflag |= CSTOPB;  // with 5 data bits the hardware makes 1.5 of it
    }
    settings.c_ispeed = baudrate_;
    settings.c_ospeed = baudrate_;
    settings.c_cc[VMIN] = 0;
    settings.c_cc[VTIME] = 0;
    if (ioctl(fd_, TCSETS2, &settings) != 0) {
        throw xCommon::xExceptionf("%s : %s", path_, std::strerror(errno));
    }
}

void xrs::close() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

unsigned int xrs::read(unsigned char* buffer, unsigned int count) {
    return collect(buffer, count, true);
}

unsigned int xrs::readSome(unsigned char* buffer, unsigned int count) {
    return collect(buffer, count, false);
}

unsigned int xrs::collect(unsigned char* buffer, unsigned int count, bool whole) {
    Deadline const deadline(timeout_.read_constant + timeout_.read_multiplier * static_cast<int>(count));
    unsigned int got = 0;
    while (isOpen() && got < count && (whole || got == 0)) {
        pollfd line{fd_, POLLIN, 0};
        int const ready = poll(&line, 1, deadline.left_ms());
        if (ready == 0 || (ready < 0 && errno != EINTR)) {
            break;
        }
        if (ready < 0) {
            continue;
        }
        ssize_t const piece = ::read(fd_, buffer + got, count - got);
        if (piece > 0) {
            got += static_cast<unsigned int>(piece);
        } else if (piece == 0 && (line.revents & (POLLHUP | POLLERR | POLLNVAL)) == 0) {
            continue;  // somebody else has read it
        } else if (piece == 0 || (errno != EAGAIN && errno != EINTR)) {
            // Nothing more will come: the device is gone.
            close();
        }
    }
    return got;
}

unsigned int xrs::write(unsigned char const* buffer, unsigned int count) {
    Deadline const deadline(timeout_.write_constant + timeout_.write_multiplier * static_cast<int>(count));
    unsigned int sent = 0;
    while (isOpen() && sent < count) {
        ssize_t const piece = ::write(fd_, buffer + sent, count - sent);
        if (piece > 0) {
            sent += static_cast<unsigned int>(piece);
            continue;
        }
        if (piece < 0 && errno != EAGAIN && errno != EINTR) {
            close();
            break;
        }
        pollfd line{fd_, POLLOUT, 0};
        if (poll(&line, 1, deadline.left_ms()) == 0) {
            break;
        }
        if ((line.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
            close();
        }
    }
    return sent;
}

unsigned int xrs::write(std::vector<unsigned char> const& bytes) {
    return write(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

void xrs::flushInput() {
    if (isOpen() && ioctl(fd_, TCFLSH, TCIFLUSH) != 0) {
        close();
    }
}

void xrs::flushOutput() {
    Deadline const deadline(timeout_.write_constant);
    int waiting = 0;
    while (isOpen() && ioctl(fd_, TIOCOUTQ, &waiting) == 0 && waiting > 0 && !deadline.passed()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    // With nothing waiting there is nothing to drop: a pseudo-terminal counts none, and a flush would take bytes from
    // the far side's hands that were written well before.
    if (isOpen() && waiting > 0 && ioctl(fd_, TCFLSH, TCOFLUSH) != 0) {
        close();
    }
}

}  // namespace xserial
