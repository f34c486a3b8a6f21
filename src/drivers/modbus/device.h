#pragma once

#include <string>
#include <vector>

#include "drivers/modbus/config.h"
#include "drivers/modbus/register_set.h"
#include "runtime/dev_base.h"
#include "runtime/port_base.h"

namespace modbus {

/// Enters the commands of a register: one, or one for each of its bits.
void add_register_commands(CommandMap& commands, DevBase& device, c_register& param, bool by_bits);
/// The bit that a command is for, or null; a payload that is no bit's is told.
bholding::bitem const* check_bit(CommandMap::Target const& target, std::string const& payload);

/// Run-time object of one slave, above the frame: subscriptions, commands, and what becomes of an answer. A transport's
/// driver adds the two exchanges.
class device : public DevBase {
 public:
    device(IBase* port_object, CBase* node);

    void ProcConnect() override;
    using DevBase::ProcMessage;
    bool ProcMessage(std::string& topic, std::string& payload) override;
    /// One parameter, or all of a device with `all_params` when it is null.
    bool poll_param(CParam* param) override;
    std::string get_device_name() override { return cfg->name; }

    /// One read exchange.
    virtual BaseResult get_response(c_param* param) = 0;
    /// One write exchange; `item` is null except for a bit.
    virtual void write(c_param* param, std::string value, bholding::bitem const* item) = 0;
    /// One exchange of a register set: asks for `count` registers or coils from `address` and appends the data of the
    /// reply. False after its line in the log.
    virtual bool read_span(unsigned char function, unsigned short address, unsigned short count,
                           std::vector<unsigned char>& data) = 0;
    /// The value to publish in place of `value`, empty while it is held back.
    virtual std::string check_debounce(c_param* param, std::string const& value);
    /// The four sets, in the order of the functions. False after an exception, which skips the sets behind it and ends
    /// in a restart of the process.
    bool poll_all_params();
    template <eFunCode Function, unsigned short Limit>
    void poll_set_params(register_set_t<Function, Limit>& set, char const* name) {
        poll_set(set, name);
    }
    /// The whole register value to write for one bit: the register is read first. Empty when it can't be read.
    std::string prepare_to_write_bit(c_param* param, std::string const& value, bholding::bitem const* item);

 protected:
    /// Turns what a command brings into what is written: the whole register for a bit, and the value through its
    /// expression. False when the register of a bit can't be read, or the expression went beyond its limits.
    bool to_register_value(c_param& param, std::string& value, bholding::bitem const* item);
    /// Makes a result of the data of a reply: `data_size` bytes are compared with the parameter's error value, and
    /// `value_size` bytes from the same place may be read as its value.
    void take_data(c_param* param, unsigned char const* data, int data_size, int value_size, BaseResult& result);
    unsigned char slave_address() const { return static_cast<unsigned char>(config_->sid & 0xFF); }
    iTran& line() { return *port->tran; }

    c_dev* config_;

 private:
    static constexpr unsigned short bit_limit = 2000;
    static constexpr unsigned short register_limit = 125;

    void tell_limit(c_param const& param, std::exception const& e);
    void poll_set(RegisterSet& set, char const* name);
    void enter_in_set(c_param* param);
    void add_commands(CommandMap& commands, CParam& param) override;

    register_set_t<eFunCode::coils, bit_limit> coils_;
    register_set_t<eFunCode::discrete_inputs, bit_limit> statuses_;
    register_set_t<eFunCode::holding_registers, register_limit> holdings_;
    register_set_t<eFunCode::input_registers, register_limit> inputs_;
};

}  // namespace modbus
