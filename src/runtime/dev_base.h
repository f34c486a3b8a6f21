#pragma once

#include <string>
#include <vector>

#include "config/cparam.h"
#include "runtime/command_map.h"
#include "runtime/ibase.h"
#include "runtime/presence.h"

class PortBase;

/// Outcome of one poll of one parameter.
struct BaseResult {
    bool is_ok = false;      ///< the device answered and the value stands
    bool is_crc_ok = false;  ///< a well-formed reply arrived, set even when the value is then refused
    std::string result;      ///< raw text of the value
    std::string err;         ///< failure text for the driver's own use
};

/// How the walk of one driver over its parameters differs from that of the others.
struct WalkRules {
    enum class Blame { all, port, nobody };
    /// Line on the parameter for an exception that its poll lets out, with one "%s".
    char const* exception_line = "Poll : исключение при опросе параметра : %s";
    /// Whose error that is: as of any failed poll, the port's alone, or nobody's.
    Blame blame = Blame::all;
    /// The device's own counters move, so that it can be reported as failed.
    bool counts_for_device = true;
};

/// Run-time object of one device, base of every driver's. It decides when each parameter is due, counts the outcomes
/// and declares the device failed. Everything runs on the worker of its port.
class DevBase : public IBase {
 public:
    /// Raises an xException or xExceptionf for a missing node or port, or a node without parameters (a device behind a
    /// bridge may have none).
    DevBase(IBase* port_object, CBase* node, WalkRules const& rules = usual_rules);

    void Poll(long long now) override;
    /// The parameter that an "/on" topic names, for topics of exactly five pieces; null when there is none.
    virtual CParam* get_param(DevBase* dev, std::string const& topic);
    /// One exchange for one parameter, or for the whole device when it is null. False counts the poll as failed; an
    /// exception counts the same.
    virtual bool poll_param(CParam* /*param*/) { return true; }
    /// A parameter of the driver's class; one that took another driver's by a `type` of its own is never asked.
    virtual bool is_own(CParam const& /*param*/) const { return true; }
    /// The word for the device in all its topics.
    virtual std::string get_device_name() { return cfg->name; }
    /// Run at the end of each Poll: a device of which everything polled has failed is reported once.
    virtual void CheckFault();

    long long polls = 0;   ///< since the last CheckFault
    long long errors = 0;  ///< since the last CheckFault
    bool fault = false;
    PortBase* port;
    Presence presence{*this};

    /// A parameter of it, or the whole of it, is to be polled now.
    bool is_due(long long now) const;
    /// Some are commands only.
    virtual bool is_polled(CParam const& param) const { return is_own(param); }

 protected:
    static constexpr WalkRules usual_rules = {};

    /// What the node holds, in its order.
    std::vector<CParam*> params_;

    /// The walk of a pass over the parameters: each that is due is polled and counted. False where goes_on() or ready()
    /// ended it ahead of the last one.
    bool walk(long long now);
    /// Ahead of each parameter: messages are served, so that a write doesn't wait for the end of a long cycle.
    virtual bool goes_on();
    /// The parameter is to be polled now; one that is another driver's is told here.
    virtual bool is_wanted(CParam& param, long long now);
    /// Opens a session ahead of a poll; false ends the pass.
    virtual bool ready(long long /*now*/) { return true; }
    /// Opens the line, and then poll_param(), or a failed result where it could not be set up for this device.
    virtual bool ask(CParam& param);
    /// The device opens the line for itself: see need_line().
    virtual bool connects() const { return cfg->poll_reconnect; }
    /// Publishes a failure without a poll.
    virtual void publish_failure(CParam& param);
    virtual void count_poll();
    /// Counts one failed poll, for the device and the port.
    virtual void count_error();

    /// An error of the port's statistics that is no failed poll of the device.
    void blame_port();
    /// The outcome of one request for several parameters; `was_asked`: the device was really asked.
    void count(long long asked, long long failed, bool was_asked);

    /// The topics of what may be written, as add_commands() enters them, are subscribed; each is traced with the
    /// format.
    void subscribe_commands(char const* trace);
    /// Enters the commands of a parameter: by default its "/on" topic, unless it is read only.
    virtual void add_commands(CommandMap& commands, CParam& param);
    std::string on_topic(std::string const& control);
    CommandMap commands_;

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

 private:
    enum class Probe { none, wanted, silent };
    Probe probe_ = Probe::none;

    WalkRules const& rules_;

    void poll_counted(CParam& param);
    bool poll_whole(long long now);
};
