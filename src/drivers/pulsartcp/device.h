#pragma once

#include <exception>
#include <string>

#include "drivers/pulsartcp/config.h"
#include "runtime/typed_device.h"

namespace pulsartcp {

/// The dialogue with one meter. Owned by its port, whose worker alone calls it.
class dev : public TypedDevice<c_dev, c_param>, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node);

    /// One sweep: when the device is due, every enabled parameter over one connection, which is closed behind it for
    /// three seconds at least. There is no fault check.
    void Poll(long long now) override;
    using DevBase::ProcMessage;
    /// Nothing is written to a meter, and nothing subscribed for one.
    bool ProcMessage(std::string& /*topic*/, std::string& /*payload*/) override { return false; }
    bool poll_param(CParam* param) override;

    /// One exchange. When the answer is that to an older request, `param` becomes the parameter of that one. Raises an
    /// xException when the connection has to be given up.
    BaseResult get_response(c_param*& param);

    /// A read has failed since the start or the last recovery. Good exchanges in between don't clear it.
    bool read_failed = false;

 private:
    // The device alone is due or not, and it has connected then.
    bool is_wanted(CParam& param, long long /*now*/) override { return param.enabled; }
    bool ask(CParam& param) override { return poll_param(&param); }
    void recover(CParam const& param, std::exception const& error);
};

}  // namespace pulsartcp
