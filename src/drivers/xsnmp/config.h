#pragma once

#include <memory>
#include <string>

#include "config/cparam.h"
#include "config/cport.h"

/// SNMP agents, read with GET requests of versions 1 and 2c: a port-level driver, for a port has no line here. Each
/// device is a session of the SNMP library. Type word "snmp".
namespace xsnmp {

struct inner_oid;

/// A port of agents.
class csport : public CPort, public FromJson<csport> {
 public:
    using FromJson<csport>::create;
    /// Raises as CPort, and an xExceptionf without a device.
    explicit csport(Json::Value& node);
};

/// One agent. Its `rto` is the time that one request waits for its answer, before it is repeated.
class csdev : public CDev, public FromJson<csdev> {
 public:
    /// Raises an xExceptionf outside of an SNMP port, without `url`, and without parameters.
    csdev(CBase* port_node, Json::Value& node);

    std::string url;  ///< peer name of the library, handed on as it stands
    std::string community = "kelvar";
    int version = 2;  ///< 2 is version 2c, every other number version 1
    csport* port;
};

/// One object of an agent.
class sparam : public CParam, public FromJson<sparam> {
 public:
    /// Raises an xExceptionf without `oid`. An empty one is refused later, when the session is opened.
    sparam(CBase* device_node, Json::Value& node);
    ~sparam() override;

    std::span<keys::Key const> own_keys() const override;

    std::string oid;
    csdev* device;  ///< null under a device of another driver, which passes this parameter over
    /// Null until the session has understood `oid`.
    std::unique_ptr<inner_oid> address;
};

}  // namespace xsnmp
