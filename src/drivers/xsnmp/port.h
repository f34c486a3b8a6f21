#pragma once

#include "drivers/xsnmp/config.h"
#include "runtime/port_base.h"

namespace xsnmp {

/// A port of SNMP agents. There is no line to open: each device holds a session of its own. Nothing is written to an
/// agent, so nothing is subscribed.
class sport : public PortBase, public PortFromNode<sport> {
 public:
    using PortFromNode<sport>::create;
    /// Opens every enabled device's session; a device whose session fails is out for the life of the process. Raises
    /// an xException or xExceptionf for a node of another class, and when no device is left.
    sport(IBase* parent_object, CPort* node);
    ~sport() override { end(); }

    void Poll(long long now) override;
    using PortBase::is_connected;

 private:
    void add_device(CBase& child);
};

}  // namespace xsnmp
