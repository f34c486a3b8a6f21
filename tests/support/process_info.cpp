#include "support/process_info.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include <unistd.h>

namespace process_info {

namespace {

std::filesystem::path entry(pid_t pid, char const* name) {
    return std::filesystem::path("/proc") / std::to_string(pid) / name;
}

/// The fields of /proc/PID/stat from the state on (field 3 is the first); the program's name ahead may hold blanks.
std::vector<std::string> stat_fields(pid_t pid) {
    std::ifstream file(entry(pid, "stat"));
    std::string line;
    std::getline(file, line);
    size_t const name_end = line.rfind(')');
    std::vector<std::string> fields;
    if (name_end != std::string::npos) {
        std::istringstream rest(line.substr(name_end + 1));
        for (std::string field; rest >> field;) {
            fields.push_back(field);
        }
    }
    return fields;
}

long field(pid_t pid, size_t number) {
    constexpr size_t first = 3;
    std::vector<std::string> const fields = stat_fields(pid);
    return number - first < fields.size() ? std::stol(fields[number - first]) : 0;
}

}  // namespace

std::vector<std::string> descriptors(pid_t pid) {
    std::vector<std::string> result;
    std::error_code ignored;
    for (auto const& link : std::filesystem::directory_iterator(entry(pid, "fd"), ignored)) {
        std::error_code gone;
        std::string const target = std::filesystem::read_symlink(link.path(), gone).string();
        if (!gone) {
            result.push_back(target);
        }
    }
    return result;
}

long rss_kib(pid_t pid) {
    return field(pid, 24) * (sysconf(_SC_PAGESIZE) / 1024);
}

long cpu_ms(pid_t pid) {
    return (field(pid, 14) + field(pid, 15)) * 1000 / sysconf(_SC_CLK_TCK);
}

int threads(pid_t pid) {
    return static_cast<int>(field(pid, 20));
}

char state(pid_t pid) {
    std::vector<std::string> const fields = stat_fields(pid);
    return fields.empty() ? '?' : fields[0][0];
}

}  // namespace process_info
