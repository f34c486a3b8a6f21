#define FUSE_USE_VERSION 31

#include "support/gpio_fuse.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>

#include <fuse.h>
#include <poll.h>

namespace {

enum class Kind { none, root, exporter, unexporter, folder, direction, edge, value };

struct Place {
    Kind kind = Kind::none;
    int number = 0;
};

Place place_of(std::string const& path) {
    for (auto const& [name, kind] :
         {std::pair{"/", Kind::root}, {"/export", Kind::exporter}, {"/unexport", Kind::unexporter}}) {
        if (path == name) {
            return {kind};
        }
    }
    constexpr size_t head = sizeof("/gpio") - 1;
    if (path.compare(0, head, "/gpio") != 0) {
        return {};
    }
    Place place;
    auto const end = std::from_chars(path.data() + head, path.data() + path.size(), place.number).ptr;
    std::string const rest(end, path.data() + path.size());
    place.kind = rest.empty()           ? Kind::folder
                 : rest == "/direction" ? Kind::direction
                 : rest == "/edge"      ? Kind::edge
                 : rest == "/value"     ? Kind::value
                                        : Kind::none;
    return place;
}

GpioFuse& self() {
    return *static_cast<GpioFuse*>(fuse_get_context()->private_data);
}

}  // namespace

/// What the kernel calls, all on the thread of the file system.
struct GpioFuse::Operations {
    /// The line that the place is on; null for one that isn't exported. Under the mutex.
    static Line* line_at(GpioFuse& tree, Place const& place) {
        auto const found = tree.lines_.find(place.number);
        return found != tree.lines_.end() && found->second.exported ? &found->second : nullptr;
    }

    static int getattr(char const* path, struct stat* status, fuse_file_info* /*info*/) {
        std::memset(status, 0, sizeof(*status));
        Place const place = place_of(path);
        std::lock_guard const lock(self().mutex_);
        if (place.kind == Kind::none || (place.kind >= Kind::folder && line_at(self(), place) == nullptr)) {
            return -ENOENT;
        }
        bool const is_folder = place.kind == Kind::root || place.kind == Kind::folder;
        status->st_mode = is_folder ? S_IFDIR | 0755 : S_IFREG | 0644;
        status->st_nlink = 1;
        status->st_size = 4096;
        return 0;
    }

    static int open(char const* path, fuse_file_info* info) {
        Place const place = place_of(path);
        std::lock_guard const lock(self().mutex_);
        info->direct_io = 1;
        info->fh = ++self().last_handle_;
        self().handles_[info->fh] = {.number = place.number};
        return 0;
    }

    static int release(char const* /*path*/, fuse_file_info* info) {
        std::lock_guard const lock(self().mutex_);
        auto const handle = self().handles_.find(info->fh);
        if (handle != self().handles_.end()) {
            if (handle->second.poll != nullptr) {
                fuse_pollhandle_destroy(handle->second.poll);
            }
            self().handles_.erase(handle);
        }
        return 0;
    }

    static int read(char const* path, char* buffer, size_t size, off_t offset, fuse_file_info* info) {
        Place const place = place_of(path);
        std::lock_guard const lock(self().mutex_);
        Line* line = line_at(self(), place);
        if (line == nullptr) {
            return -ENODEV;
        }
        std::string const text = place.kind == Kind::value       ? std::string(1, line->level) + "\n"
                                 : place.kind == Kind::direction ? line->direction
                                                                 : line->edge;
        if (place.kind == Kind::value && offset == 0) {
            self().handles_[info->fh].seen = line->event;
            line->read = true;
            self().changed_.notify_all();
        }
        size_t const begin = std::min(text.size(), static_cast<size_t>(offset));
        size_t const count = std::min(text.size() - begin, size);
        std::memcpy(buffer, text.data() + begin, count);
        return static_cast<int>(count);
    }

    static int write(char const* path, char const* buffer, size_t size, off_t /*offset*/, fuse_file_info* /*info*/) {
        Place const place = place_of(path);
        std::string const text(buffer, size);
        std::lock_guard const lock(self().mutex_);
        return accept(self(), place, text) ? static_cast<int>(size) : -EINVAL;
    }

    static bool accept(GpioFuse& tree, Place const& place, std::string const& text) {
        if (place.kind == Kind::exporter || place.kind == Kind::unexporter) {
            auto const line = tree.lines_.find(std::atoi(text.c_str()));
            bool const wanted = place.kind == Kind::exporter;
            if (line == tree.lines_.end() || line->second.exported == wanted) {
                return false;
            }
            line->second.exported = wanted;
            return true;
        }
        Line* line = line_at(tree, place);
        if (line == nullptr) {
            return false;
        }
        switch (place.kind) {
            case Kind::direction:
                line->direction = text == "in" ? "in" : "out";
                line->level = text == "high" ? '1' : text == "low" ? '0' : line->level;
                return true;
            case Kind::edge:
                line->edge = text;
                return true;
            case Kind::value:
                line->level = text.at(0);
                return line->direction == "out";
            default:
                return false;
        }
    }

    static int utimens(char const* path, timespec const* /*times*/, fuse_file_info* /*info*/) {
        std::lock_guard const lock(self().mutex_);
        if (Line* line = line_at(self(), place_of(path))) {
            ++line->touches;
            self().changed_.notify_all();
        }
        return 0;
    }

    static int poll(char const* path, fuse_file_info* info, fuse_pollhandle* handle, unsigned* events) {
        std::lock_guard const lock(self().mutex_);
        Handle& opened = self().handles_[info->fh];
        if (handle != nullptr) {
            if (opened.poll != nullptr) {
                fuse_pollhandle_destroy(opened.poll);
            }
            opened.poll = handle;
        }
        Line const* line = line_at(self(), place_of(path));
        *events = line != nullptr && opened.seen != line->event ? POLLPRI | POLLERR : 0;
        return 0;
    }
};

GpioFuse::GpioFuse(std::string const& root, std::vector<int> const& numbers) : folder_(root + "/sys/class/gpio") {
    std::filesystem::create_directories(folder_);
    for (int const number : numbers) {
        lines_[number] = {};
    }
    static fuse_operations operations = {};
    operations.getattr = Operations::getattr;
    operations.open = Operations::open;
    operations.release = Operations::release;
    operations.read = Operations::read;
    operations.write = Operations::write;
    operations.truncate = [](char const* /*path*/, off_t /*size*/, fuse_file_info* /*info*/) { return 0; };
    operations.utimens = Operations::utimens;
    operations.poll = Operations::poll;
    // Nothing is cached: lines come and go.
    char program[] = "gpio";
    char option[] = "-oattr_timeout=0,entry_timeout=0,negative_timeout=0";
    char* words[] = {program, option, nullptr};
    fuse_args arguments = FUSE_ARGS_INIT(2, words);
    fuse_ = fuse_new(&arguments, &operations, sizeof(operations), this);
    fuse_opt_free_args(&arguments);
    if (fuse_ == nullptr) {
        return;
    }
    if (fuse_mount(fuse_, folder_.c_str()) != 0) {
        fuse_destroy(fuse_);
        fuse_ = nullptr;
        return;
    }
    thread_ = std::thread([this] { fuse_loop(fuse_); });
}

GpioFuse::~GpioFuse() {
    if (!is_mounted()) {
        return;
    }
    fuse_exit(fuse_);
    fuse_unmount(fuse_);
    thread_.join();
    fuse_destroy(fuse_);
}

void GpioFuse::set_level(int number, char level) {
    std::lock_guard const lock(mutex_);
    Line& line = lines_.at(number);
    bool const moved = line.level != level;
    line.level = level;
    line.read = false;
    if (!moved || (line.edge != "both" && line.edge != (level == '1' ? "rising" : "falling"))) {
        return;
    }
    ++line.event;
    for (auto const& [id, handle] : handles_) {
        if (handle.number == number && handle.poll != nullptr) {
            fuse_notify_poll(handle.poll);
        }
    }
}

bool GpioFuse::wait(int number, Limit limit, std::function<bool(Line const&)> const& condition) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return condition(lines_.at(number)); });
}

GpioFuse::Line GpioFuse::line(int number) const {
    std::lock_guard const lock(mutex_);
    return lines_.at(number);
}
