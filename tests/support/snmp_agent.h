#pragma once

#include <memory>
#include <string>
#include <vector>

#include "support/child_process.h"
#include "support/free_port.h"
#include "support/temp_folder.h"

/// A real snmpd of the test's own on the loopback address, by UDP and TCP, read-only, for the community "kelvar". It
/// reads no file but those that this object writes, and writes below its own folder only. The port stays the same over
/// every stop and start.
class SnmpAgent {
 public:
    struct Object {
        /// As the directive "override" names it (integer, uinteger, counter, timeticks, octet_str, object_id), or, for
        /// the types that it lacks, as "pass" does (ipaddress, counter64, opaque). These may have no blank in `value`.
        std::string type;
        std::string value;
    };
    using Objects = std::vector<Object>;

    /// The objects have the ids oid(0), oid(1) and so on. Starts it.
    explicit SnmpAgent(Objects const& objects);

    /// Waits until it answers. Raises std::runtime_error when it doesn't.
    void start();
    void stop();

    std::string peer() const { return "127.0.0.1:" + std::to_string(port_.number()); }
    static std::string oid(size_t index) { return ".1.3.6.1.4.1.99999." + std::to_string(index + 1) + ".0"; }
    /// What it has written about itself, for the message of a failed test.
    std::string log() const;

 private:
    FreePort port_;
    TempFolder folder_;
    std::unique_ptr<ChildProcess> process_;
};
