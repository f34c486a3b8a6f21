#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

/// What /proc tells about a process.
namespace process_info {

/// Targets of all open descriptors, "/dev/pts/3" or "socket:[1234]".
std::vector<std::string> descriptors(pid_t pid);
/// Resident memory in KiB; 0 for a process that isn't there.
long rss_kib(pid_t pid);
/// Processor time that it has used, user and system, in ms.
long cpu_ms(pid_t pid);
int threads(pid_t pid);
/// 'R', 'S', 'T' (stopped) and so on; '?' for a process that isn't there.
char state(pid_t pid);

}  // namespace process_info
