#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ctl/simulate/course.h"
#include "ctl/simulate/far_end.h"
#include "drivers/xsnmp/config.h"

struct snmp_pdu;
struct variable_list;

namespace sim {

/// An SNMP agent on a UDP port of the loopback address, by the library that the daemon asks with: it decodes and
/// encodes, what is told is made here. It answers GET of versions 1 and 2c, with the community of its devices.
class SnmpAgent : public FarEnd {
 public:
    explicit SnmpAgent(Faults& faults) : faults_(faults) {}
    ~SnmpAgent() override;

    void add(xsnmp::csdev& node);
    /// Listens; 0: on a free port. False for one that is taken.
    bool open(int port);
    int port() const { return port_; }

    std::vector<int> awaited() const override;
    void serve(std::span<pollfd const> ready, double seconds) override;

 private:
    enum class Kind { number, count, ticks, text };

    struct Object {
        Kind kind;
        Course course;
    };
    using Oid = std::vector<unsigned long>;

    static Kind kind_of(Oid const& oid, CParam const& param);
    static int take(int operation, snmp_pdu* request, void* self);
    void answer(snmp_pdu& request);
    /// False for an object that isn't there.
    bool fill(variable_list& variable) const;

    Faults& faults_;
    std::map<Oid, Object> objects_;
    std::vector<std::string> communities_;
    void* session_ = nullptr;
    int port_ = 0;
    double seconds_ = 0;
};

}  // namespace sim
