#pragma once

#include <string>

#include "drivers/modbus/config.h"
#include "runtime/dev_base.h"
#include "runtime/port_base.h"

namespace modbus {

/// Run-time object of one slave, above the frame: subscriptions, commands, and what becomes of an answer. A transport's
/// driver adds the two exchanges.
class device : public DevBase {
 public:
    device(IBase* port_object, CBase* node);

    void ProcConnect() override;
    using DevBase::ProcMessage;
    bool ProcMessage(std::string& topic, std::string& payload) override;
    bool poll_param(CParam* param) override;
    std::string get_device_name() override { return cfg->name; }

    /// One read exchange.
    virtual BaseResult get_response(c_param* param) = 0;
    /// One write exchange; `item` is null except for a bit.
    virtual void write(c_param* param, std::string value, bholding::bitem const* item) = 0;
    /// The whole register value to write for one bit: the register is read first. Empty when it can't be read.
    std::string prepare_to_write_bit(c_param* param, std::string const& value, bholding::bitem const* item);

 protected:
    unsigned char slave_address() const { return static_cast<unsigned char>(config_->sid & 0xFF); }
    iTran& line() { return *port->tran; }

    c_dev* config_;

 private:
    std::string on_topic(std::string const& control);
    /// The parameter that an "/on" topic writes to, with the bit where it names one.
    std::pair<c_param*, bholding::bitem const*> find_target(std::string const& topic);
};

}  // namespace modbus
