#pragma once

#include <span>
#include <string>

#include "config/cport.h"
#include "runtime/exchange.h"
#include "runtime/typed_device.h"

namespace meter {

/// What the families do differently around one and the same poll cycle.
struct Family {
    WalkRules walk;
    // Lines on the device for what an exchange lets out, with one "%s".
    char const* param_exception;
    char const* start_exception;
    char const* stop_exception;
    /// A reply to opening and closing refuses by the highest bit of its function.
    bool has_refusals;
    /// Line about such a refusal, with one "%s"; null: none.
    char const* refusal = nullptr;
};

/// How the opening or the closing of a session names itself, and the size of its reply.
struct LinkStep {
    char const* trace;  ///< head of the labels in the traces
    char const* line;   ///< head of the lines in the log
    int least;          ///< bytes of a reply at least
    int most;           ///< bytes that are read
};

/// Run-time object of one meter with a session. Owned by its port, whose worker alone calls it.
class device : public TypedDevice<CAddressDev, CParam> {
 public:
    device(IBase* port_object, CBase* node, Family const& family);

    /// Opens and closes the session; the outcome is `opened`. False for a session that couldn't be opened.
    bool Start() override;
    void Stop() override;
    /// One poll cycle. `poll_reconnect` has no effect here: a session lives on the line that stays open.
    void Poll(long long now) override;
    bool poll_param(CParam* param) override;

    /// The session stands, as far as is known here.
    bool opened = false;

 protected:
    virtual bool open_session() = 0;
    virtual void close_session() = 0;
    /// Sees to the session before a due parameter is asked for; false ends the cycle.
    virtual bool ready_link(long long now) = 0;
    /// One read exchange for a parameter of its own. What can't be decoded raises an exception.
    virtual BaseResult read(CParam& param) = 0;
    bool is_wanted(CParam& param, long long now) override { return is_wanted_and_own(param, now); }
    bool ready(long long now) override;
    bool connects() const override { return false; }

    /// Sends the frame of an opening or closing and gives its reply, empty behind a line for one that isn't good.
    std::span<unsigned char const> link_dialogue(xCommon::ByteList const& frame, LinkStep const& step);
    /// Sends a request on a line that holds nothing of before, with the parameter's time-outs.
    void send_request(CParam const& param, Exchange& exchange, xCommon::ByteList const& frame);

    /// Raises an xException on a port that has been stopped.
    iTran& line();

 private:
    Family const& family_;
};

/// The same for a family whose parameters are of the class Param.
template <typename Param>
class family_device : public device {
 public:
    using device::device;

 protected:
    bool is_own(CParam const& param) const override { return dynamic_cast<Param const*>(&param) != nullptr; }
    BaseResult read(CParam& param) override { return get_response(static_cast<Param*>(&param)); }
    virtual BaseResult get_response(Param* param) = 0;
};

}  // namespace meter
