#pragma once

#include <memory>
#include <string>

#include "foundation/mq_client.h"
#include "runtime/ibase.h"
#include "transport/itran.h"

/// Runs a port where it isn't the daemon that does: given to the port's object as its parent. Such a port has no
/// thread; its host calls PortBase::pass().
class PortHost : public IBase {
 public:
    PortHost() : IBase(nullptr, nullptr) {}

    /// Its clients need a random part in their identities; to make one takes a process.
    virtual bool needs_identities() const { return true; }
    virtual std::unique_ptr<iTran> make_line(CPort& node) = 0;
    virtual std::unique_ptr<xMQ::mqClient> make_client(xCommon::SyncVector& queue, std::string const& identity) = 0;
};
