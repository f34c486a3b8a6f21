#include "ctl/live/line_holder.h"

#include <fstream>
#include <sstream>

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "foundation/xstring.h"

namespace {

/// One of the locks that are held, as the kernel lists them: "1: FLOCK  ADVISORY  READ 1234 00:1a:3 0 EOF", with the
/// file's device in hexadecimal. Who only waits for one has an arrow ahead of the kind.
struct Held {
    std::string kind;
    pid_t pid = 0;
    std::string file;

    explicit Held(std::string const& line) {
        std::istringstream words(line);
        std::string number;
        std::string advisory;
        std::string access;
        words >> number >> kind >> advisory >> access >> pid >> file;
    }
};

/// The process names itself, with whatever bytes.
std::string command_of(pid_t pid) {
    std::string name;
    std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
    std::getline(file, name);
    return xCommon::xString::Shown(name);
}

}  // namespace

std::string line_holder(std::string const& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return {};
    }
    std::string const file = xCommon::xString::Format("%02x:%02x:%llu", major(status.st_dev), minor(status.st_dev),
                                                      static_cast<unsigned long long>(status.st_ino));
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        Held const held(line);
        // Of a process beyond this one's view the kernel gives 0.
        if (held.kind == "FLOCK" && held.file == file && held.pid > 0 && held.pid != getpid()) {
            std::string const command = command_of(held.pid);
            return std::to_string(held.pid) + (command.empty() ? "" : " (" + command + ")");
        }
    }
    return {};
}
