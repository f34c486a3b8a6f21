#pragma once

#include <span>
#include <string>

#include "drivers/vkt7rtu/config.h"
#include "foundation/byte_list.h"
#include "runtime/typed_device.h"

namespace vkt7rtu {

/// The dialogue with one calculator, gone through from its beginning for each value. Takes subscriptions as a Modbus
/// slave does, but writes nothing.
class dev : public TypedDevice<c_dev, modbus::c_register>, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node);

    void ProcConnect() override;
    using DevBase::ProcMessage;
    /// Recognises the topics and drops what they bring.
    bool ProcMessage(std::string& topic, std::string& payload) override;
    /// An exception ends in a restart of the process.
    bool poll_param(CParam* param) override;

    /// One exchange; false after a line in the parameter's log. The reply stands in last_reply().
    bool request(xCommon::ByteList const& frame, CParam* param, unsigned char sid, std::string const& label);
    /// The whole dialogue for one value.
    BaseResult read(modbus::c_register* param);
    /// The last good reply, with its CRC; valid up to the next request.
    std::span<unsigned char const> last_reply() const { return reply_; }

 private:
    void add_commands(CommandMap& commands, CParam& param) override;

    std::span<unsigned char const> reply_;
};

}  // namespace vkt7rtu
