#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <sys/epoll.h>

#include "foundation/xlog.h"
#include "gpio/config.h"

namespace xgpio {

/// What a line hands to the worker for publication.
struct mqtt_message {
    bool retain = true;
    int qos = 0;  ///< 0 for a level, 2 for a total
    std::string payload;
    std::string topic;
};

/// One line of the kernel's sysfs interface as a plain input or output. Owned by the worker; all but the constructor
/// runs on the worker's thread.
class io_base : public xCommon::LogItem {
 public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Frees the line if an earlier run left it exported, exports it, opens its value and sets its direction. `parent`
    /// bears the driver's name, for the topics. Raises an xException or xExceptionf when the line can't be had.
    io_base(xCommon::LogItem* parent, channel_t const* line_channel);
    ~io_base() override;

    /// The debounce: true when a level read now may be taken as fact. With a debounce time the first call only starts
    /// the wait; the worker's ticks end it.
    virtual bool deb_remove();
    /// What there is to publish now, after an interrupt or an inotify event (`from_event`), or at a tick of the worker,
    /// which only looks while a debounce runs.
    virtual std::vector<mqtt_message> irr_hand(bool from_event);

    bool exp();
    void unexp();
    bool set_dir();
    /// Sets the edge that raises interrupts. False for an output, and for a line whose hardware raises none.
    bool irr_set();
    /// "0" or "1"; empty, with a line in the log, when it can't be read.
    std::string get_value();
    /// Writes "0" or "1".
    bool set_value(std::string const& text);
    std::string prepare_value(std::string const& text) const;
    /// The total as it is published.
    mqtt_message total() const;
    /// Writes one of the line's files. False, with a line in the log, when the kernel refuses it.
    bool write(std::string const& path, std::string const& text) const;

    static constexpr TimePoint unset = TimePoint::min();
    /// What no reading equals: the next one is a change, whatever it gives.
    static constexpr std::string_view never_read = "n";

    int value_fd = -1;
    int watch = -1;        ///< inotify watch of the value; above 0 while the line is polled by touch
    float total_base = 0;  ///< the total that the broker held
    float current = 0;     ///< counted since the process started
    std::string last_value{never_read};
    TimePoint last_change = unset;
    TimePoint deb_start = unset;
    channel_t const* channel;
    bool irr_ok = false;
    epoll_event event{};

    /// The topic of the value.
    std::string topic() const;

 protected:
    /// There is something to look at.
    bool is_pending(bool from_event) const { return from_event || deb_start != unset; }

 private:
    bool rewind() const;
    void close_value();

    /// Each access to the value is a seek and a read or write of one descriptor.
    std::mutex mutex_;
};

/// The same line as a pulse counter: a pulse is a move from "0" to another level.
class io_counter : public io_base {
 public:
    using io_base::io_base;
    std::vector<mqtt_message> irr_hand(bool from_event) override;
};

}  // namespace xgpio
