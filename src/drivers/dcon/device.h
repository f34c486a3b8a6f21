#pragma once

#include <span>
#include <string>

#include "drivers/dcon/config.h"
#include "foundation/byte_list.h"
#include "runtime/exchange.h"
#include "runtime/typed_device.h"

namespace dcon {

/// The dialogue with one module. Owned by its port, whose worker alone calls it.
class dev : public TypedDevice<c_dev, c_param>, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node);

    /// One poll cycle of what is `read_only`. `poll_reconnect` of the device has no effect here nor on writes.
    void Poll(long long now) override;
    void ProcConnect() override;
    using DevBase::ProcMessage;
    bool ProcMessage(std::string& topic, std::string& payload) override;
    bool poll_param(CParam* param) override;

    /// One read exchange. A value that can't be decoded raises an xExceptionf.
    BaseResult get_response(c_param* param);
    /// One write exchange; its outcome is told in the log alone.
    void write(c_param* param, std::string const& value);
    /// True when the checksum behind the first `len` bytes of what arrived fits, or when there are none; false behind
    /// a line on the parameter.
    static bool check_crc(c_param const* param, std::span<unsigned char const> reply, int len);

 private:
    bool is_polled(CParam const& param) const override { return is_own(param) && param.read_only; }
    bool is_wanted(CParam& param, long long now) override { return is_wanted_and_own(param, now) && param.read_only; }
    bool connects() const override { return false; }
    void add_commands(CommandMap& commands, CParam& param) override;
    static bool send(c_param const& param, Exchange& exchange, xCommon::ByteList const& frame, char const* trace);
    static bool is_head(c_param const& param, std::span<unsigned char const> head, std::string const& expected_sid);
};

}  // namespace dcon
