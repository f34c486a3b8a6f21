#pragma once

#include <string>

#include "config/cparam.h"
#include "runtime/ibase.h"

class PortBase;

/// Outcome of one poll of one parameter.
struct BaseResult {
    bool is_ok = false;      ///< the device answered and the value stands
    bool is_crc_ok = false;  ///< a well-formed reply arrived, set even when the value is then refused
    std::string result;      ///< raw text of the value
    std::string err;         ///< failure text for the driver's own use
};

/// Run-time object of one device, base of every driver's. It decides when each parameter is due, counts the outcomes
/// and declares the device failed. Everything runs on the worker of its port.
class DevBase : public IBase {
 public:
    /// Raises an xException or xExceptionf for a missing node or port, or a node without parameters (a device behind a
    /// bridge may have none).
    DevBase(IBase* port_object, CBase* node);

    void Poll(long long now) override;
    /// The parameter that an "/on" topic names, for topics of exactly five pieces; null when there is none.
    virtual CParam* get_param(DevBase* dev, std::string const& topic);
    /// One exchange for one parameter, or for the whole device when it is null. False counts the poll as failed; an
    /// exception counts the same.
    virtual bool poll_param(CParam* /*param*/) { return true; }
    /// The word for the device in all its topics.
    virtual std::string get_device_name() { return cfg->name; }
    /// Run at the end of each Poll: a device of which everything polled has failed is reported once.
    virtual void CheckFault();

    long long polls = 0;   ///< since the last CheckFault
    long long errors = 0;  ///< since the last CheckFault
    bool fault = false;
    PortBase* port;

 protected:
    /// Counts one failed poll, for the device and the port.
    void count_error();
    void count_poll();
    /// Ahead of the first due parameter of a pass: opens the line where devices with `poll_reconnect` close it behind
    /// their polls. Not at the head of the pass, or a port on which nothing is due would connect once a second. Does
    /// nothing where the line couldn't be set up for this device. `connects` is for a device that opens the line for
    /// itself as well.
    void need_line(bool connects = false);
    /// A device with `silent_probe` that has been told as failed is asked for its first due parameter alone, until
    /// something comes back. At the head of a pass, behind each poll, and instead of a poll: counts and publishes a
    /// failure without a wait, and gives true, where the device is silent.
    void begin_pass();
    void begin_poll();
    void polled(bool ok);
    bool fail_silently(CParam& param, long long now);
    bool is_silent() const { return probe_ == Probe::silent; }
    /// poll_param(), or a failed result where the line could not be set up for this device.
    bool poll_or_fail(CParam& param);

 private:
    enum class Probe { none, wanted, silent };
    Probe probe_ = Probe::none;

    void poll_one(CParam& param, long long now);
    bool poll_whole(long long now);
};
