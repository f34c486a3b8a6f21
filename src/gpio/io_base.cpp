#include "gpio/io_base.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "config/constants.h"
#include "foundation/xexception.h"
#include "foundation/xmisc.h"

namespace xgpio {

using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::lmtTrace;
using xCommon::xString;
using xCommon::xtime;

io_base::io_base(xCommon::LogItem* parent, channel_t const* line_channel) : LogItem(parent), channel(line_channel) {
    if (channel == nullptr) {
        throw xCommon::xException("io_base : не указан конфиг канала.");
    }
    name = channel->name;
    unexp();
    if (!exp()) {
        throw xCommon::xExceptionf("%s : io_base : ошибка инициализации канала.", name);
    }
    if (!set_dir()) {
        close_value();  // no destructor runs for what was never made
        throw xCommon::xExceptionf("%s : io_base : ошибка установки направления канала.", name);
    }
    event.events = EPOLLET;
    event.data.fd = value_fd;
    Logf(lmtInfo, "канал %d : OK.", channel->gpio);
}

io_base::~io_base() {
    unexp();
}

bool io_base::exp() {
    if (!write(path_gpio_export, std::to_string(channel->gpio))) {
        Logf(lmtError, "не удалось экспортировать канал : %d.", channel->gpio);
        return false;
    }
    std::string const path = xString::Format(path_gpio_value, channel->gpio);
    value_fd = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (value_fd <= 0) {
        Logf(lmtError, "ошибка открытия файла значения : %s.", std::strerror(errno));
        write(path_gpio_unexport, std::to_string(channel->gpio));
        return false;
    }
    Logf(lmtTrace, "open: %s : %d", path, value_fd);
    return true;
}

void io_base::unexp() {
    if (!write(path_gpio_unexport, std::to_string(channel->gpio))) {
        Logf(lmtError, "не удалось un-экспортировать канал : %d.", channel->gpio);
    }
    close_value();
}

void io_base::close_value() {
    if (value_fd > 0) {
        Logf(lmtTrace, "close: %d", value_fd);
        close(value_fd);
        value_fd = -1;
    }
}

/// "high" makes the line an output that has the level 1 from the start: what is switched on stays on over a restart.
/// The level asked for is the one behind the inversion, so that an inverted output changes over at each start. That is
/// how these lines behave in service, and what is wired to them relies on it.
bool io_base::set_dir() {
    std::string const level = get_value();
    std::string word = "in";
    if (channel->direction == direction_output) {
        word = level == "1" ? "high" : "low";
    }
    return write(xString::Format(path_gpio_direction, channel->gpio), word);
}

bool io_base::irr_set() {
    std::string const path = xString::Format(path_gpio_edge, channel->gpio);
    irr_ok = false;
    if (access(path.c_str(), F_OK) != 0 || channel->direction == direction_output) {
        return irr_ok;
    }
    irr_ok = write(path, channel->edge);
    if (!irr_ok) {
        Log(lmtError, "ошибка инициализации прерывания.");
    }
    return irr_ok;
}

/// Past all buffers: the kernel says no to the write itself, and a stream would lose that.
bool io_base::write(std::string const& path, std::string const& text) const {
    if (path.empty() || text.empty()) {
        Log(lmtError, "io_base.write : ошибка в параметрах.");
        return false;
    }
    try {
        int const fd = open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
        if (fd < 0) {
            Logf(lmtError, "io_base.write : не удалось открыть файл : %s.", path);
            return false;
        }
        bool const written = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        close(fd);
        if (!written) {
            Logf(lmtError, "io_base.write : не удалось записать в файл : %s = %s.", path, text);
        }
        return written;
    } catch (std::exception const& e) {
        Logf(lmtError, "ошибка записи в файл : %s : %s.", path, e.what());
        return false;
    }
}

/// sysfs gives a fresh level to a read from the start only.
bool io_base::rewind() const {
    if (lseek(value_fd, 0, SEEK_SET) == 0) {
        return true;
    }
    Logf(lmtError, "ошибка позиционирования значения : %s.", std::strerror(errno));
    return false;
}

std::string io_base::get_value() {
    std::lock_guard const lock(mutex_);
    if (!rewind()) {
        return {};
    }
    char level = 0;
    ssize_t const count = read(value_fd, &level, 1);
    if (count != 1) {
        Logf(lmtError, "ошибка чтения значения : %s.", std::strerror(count == 0 ? ENODATA : errno));
        return {};
    }
    return prepare_value(std::string(1, level));
}

std::string io_base::prepare_value(std::string const& text) const {
    if (!channel->inverted) {
        return text;
    }
    return text == "1" ? "0" : "1";
}

bool io_base::set_value(std::string const& text) {
    std::lock_guard const lock(mutex_);
    if (!rewind()) {
        return false;
    }
    std::string const level = prepare_value(text.substr(0, 1));
    if (level.empty() || ::write(value_fd, level.data(), 1) != 1) {
        Logf(lmtError, "ошибка записи значения : %s.", std::strerror(level.empty() ? EINVAL : errno));
        return false;
    }
    return true;
}

bool io_base::deb_remove() {
    if (channel->debounce == 0) {
        return true;
    }
    TimePoint const now = xtime::steady();
    if (deb_start == unset) {
        deb_start = now;
        return false;
    }
    if (std::chrono::duration_cast<std::chrono::milliseconds>(now - deb_start).count() <= channel->debounce) {
        return false;
    }
    deb_start = unset;
    return true;
}

std::string io_base::topic() const {
    return xString::Format(topic_value, log_parent()->name, channel->name);
}

mqtt_message io_base::total() const {
    return {.retain = true,
            .qos = 2,
            .payload = xString::Format("%.*f", channel->precision, current + total_base),
            .topic = topic() + gpio_suffix_total};
}

std::vector<mqtt_message> io_base::irr_hand(bool from_event) {
    if (!is_pending(from_event)) {
        return {};
    }
    std::string const value = get_value();
    // A level that couldn't be read is a change too: its empty text withdraws the retained one from the broker, and the
    // next one read is published again.
    if (!deb_remove() || value == last_value) {
        return {};
    }
    last_value = value;
    last_change = xtime::steady();
    return {{.retain = true, .qos = 0, .payload = value, .topic = topic()}};
}

std::vector<mqtt_message> io_counter::irr_hand(bool from_event) {
    if (!is_pending(from_event)) {
        return {};
    }
    std::string const value = get_value();
    TimePoint const now = xtime::steady();
    // A level that couldn't be read is neither a pulse nor the return from one.
    if (value.empty() || !deb_remove()) {
        return {};
    }
    bool const is_first = last_change == unset;
    if (!is_first && value != "0" && value == last_value) {
        return {};
    }
    last_value = value;
    last_change = now;
    // The level at the start is no pulse, and the return to 0 only arms the line for the next one.
    if (is_first || value == "0") {
        return {};
    }
    current = xCommon::xMisc::round(current + channel->scale, 1.0F, channel->precision);
    return {total()};
}

}  // namespace xgpio
