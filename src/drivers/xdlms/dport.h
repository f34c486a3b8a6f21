#pragma once

#include <memory>
#include <string>
#include <vector>

#include "drivers/xdlms/pdu.h"
#include "runtime/port_base.h"

namespace xdlms {

class dport;

/// The walk over the parameters of one meter. The counters and the fault are those of its node, where they are found.
class dmeter : public DevBase {
 public:
    dmeter(dport* port_object, cddev* node);

    /// One pass; false when the broker has gone.
    bool pass(long long now);

    cddev* const node;

 private:
    bool goes_on() override;
    bool is_polled(CParam const& param) const override;
    bool is_wanted(CParam& param, long long now) override;
    bool ask(CParam& param) override;
    void publish_failure(CParam& param) override;
    void count_poll() override;
    void count_error() override;

    dport* dport_;
};

/// What the serial and the TCP port have in common: the poll cycle, writes, the fault report, subscriptions and the
/// command. Each parameter is one request and one answer; there is no association.
class dport : public PortBase {
 public:
    /// Raises as PortBase, and an xException or xExceptionf for a node of another class or without devices.
    dport(IBase* parent, CPort* node);

    /// Opens the line and settles the devices' addresses ahead of the worker. Raises what poll_devices() raises.
    bool Start() override;
    void Poll(long long now) override;
    void ProcConnect() override;
    using PortBase::ProcMessage;
    bool ProcMessage(std::string& topic, std::string& payload) override;
    /// Serves the queue also without a device: there is none here.
    void CheckMessage(DevBase* dev) override { serve_queue(dev); }

    /// Writes a value and reads it back.
    virtual void write(cddev* dev, dparam* param, std::string const& value);
    /// Reads one parameter and publishes its value, or "r" on its error topic; true for a value.
    virtual bool poll_param(cddev* dev, dparam* param);
    /// One exchange with a meter. Without a parameter it is for the command.
    virtual dlms_reply get_response(xCommon::ByteList& /*request*/, cddev* /*dev*/, dparam* /*param*/) { return {}; }
    /// Opens the line if it isn't, also after a stop, which takes it away.
    virtual bool reconnect();
    void publish_failure(cddev const& dev, CParam const& param);
    using PortBase::is_connected;
    void each_device(std::function<void(DevBase&)> const& step) override;
    /// Reports a meter of which every poll since the last check has failed, once until one succeeds.
    virtual void CheckFault(cddev* dev);
    /// Gives the devices their wrapper addresses; false when they couldn't be learnt.
    virtual bool poll_devices() = 0;

 protected:
    /// A frame's reply, with its faults told: in the global log, under no node's name.
    static dlms_reply told(dlms_reply reply);

    cdport* node_;
    std::vector<std::unique_ptr<dmeter>> meters_;

 private:
    /// get_response() to a request that isn't wrapped yet.
    dlms_reply ask(cddev& dev, dparam* param, xCommon::ByteList const& data);
    void proc_command(std::string const& payload);
    void proc_command_er(std::vector<std::string> const& pieces);
};

}  // namespace xdlms
