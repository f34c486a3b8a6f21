#pragma once

#include <mutex>
#include <string>

// In this order: the second needs what the first defines.
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

namespace xsnmp {

/// What the SNMP library keeps for the whole process, and how ports on their own threads get along with it: Debian's
/// build of it has its own locks compiled out. A session is used by one thread alone, and an exchange on it runs
/// without a lock. What an exchange still touches outside of its session is plain numbers that versions 1 and 2c don't
/// send or look at (message and transaction ids, statistics, the last error), and the detail that the library appends
/// to the text of an error: at worst that tells the trouble of another port's agent.
class library {
 public:
    /// Makes the library ready, the first time; `application` is the name that it then has for itself. It reads and
    /// writes no file, and logs nothing.
    static void start(std::string const& application);

    /// Guards opening and closing sessions. Apart from the other, for it may last: a name is looked up, and a TCP agent
    /// connected to.
    static inline std::mutex sessions;
    /// Guards making requests, reading object ids, printing values and error texts.
    static inline std::mutex data;

    /// The detail of a refused object id or peer would otherwise turn up in the text of the next error, whosever that
    /// is. Under the lock of the data.
    static void forget_error_detail();
};

}  // namespace xsnmp
