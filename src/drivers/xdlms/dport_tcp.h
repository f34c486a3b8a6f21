#pragma once

#include "drivers/xdlms/dport.h"

namespace xdlms {

/// Meters behind a TCP concentrator: the wrapper goes on the connection by itself, and its length frames the stream.
class dport_tcp : public dport, public PortFromNode<dport_tcp> {
 public:
    using PortFromNode<dport_tcp>::create;
    using dport::dport;
    ~dport_tcp() override { end(); }

    dlms_reply get_response(xCommon::ByteList& request, cddev* dev, dparam* param) override;

    /// Reads the concentrator's list of addresses and gives each device the one that stands beside its serial number.
    /// False when the list can't be read.
    bool poll_devices() override;

 private:
    void find_address(cddev& dev, std::vector<std::string> const& entries);
};

}  // namespace xdlms
