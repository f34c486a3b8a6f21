#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct fuse;
struct fuse_pollhandle;

/// The kernel's GPIO files as a file system that behaves like sysfs: a line is there while it is exported, its value
/// raises POLLPRI|POLLERR at each edge until it is read again, and a refusal comes at the write.
class GpioFuse {
 public:
    using Limit = std::chrono::milliseconds;
    struct Line {
        bool exported = false;
        std::string direction = "in";
        std::string edge = "none";
        char level = '0';
        long event = 1;     ///< number of the last interrupt; that of a fresh descriptor is 0
        bool read = false;  ///< behind the last set_level()
        int touches = 0;    ///< of the value
    };

    /// Mounts it at "sys/class/gpio" below `root`, with these lines. is_mounted() tells whether the machine allows it.
    GpioFuse(std::string const& root, std::vector<int> const& numbers);
    /// To be called after the end of every process that has files of it open.
    ~GpioFuse();
    GpioFuse(GpioFuse const&) = delete;
    GpioFuse& operator=(GpioFuse const&) = delete;

    bool is_mounted() const { return thread_.joinable(); }

    /// Sets the level and raises the interrupt, if the line's edge asks for it.
    void set_level(int number, char level);
    /// Waits until the line is so.
    bool wait(int number, Limit limit, std::function<bool(Line const&)> const& condition) const;
    Line line(int number) const;

 private:
    /// One open value.
    struct Handle {
        int number = 0;
        long seen = 0;
        fuse_pollhandle* poll = nullptr;
    };
    struct Operations;

    std::string folder_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::map<int, Line> lines_;
    std::map<unsigned long, Handle> handles_;
    unsigned long last_handle_ = 0;
    fuse* fuse_ = nullptr;
    std::thread thread_;
};
