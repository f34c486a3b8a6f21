#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "drivers/modbus/config.h"
#include "drivers/modbus/register_set.h"
#include "drivers/modbus/set_reply.h"
#include "runtime/exchange.h"
#include "runtime/typed_device.h"

namespace modbus {

/// Enters the commands of a register: one, or one for each of its bits.
void add_register_commands(CommandMap& commands, DevBase& device, c_register& param, bool by_bits,
                           bool subscribed = true);
/// The bit that a command is for, or null; a payload that is no bit's is told.
bholding::bitem const* check_bit(CommandMap::Target const& target, std::string const& payload);
/// A poll whose exception is a fault that the driver can't explain: the file watch answers the touch with a new
/// process.
bool guarded(CBase const& node, std::function<bool()> const& poll);
/// Publishes the value, or its bits.
void hand_on(DevBase& device, c_register& param, BaseResult& result);

inline constexpr xCommon::HeadTexts head_texts = {nullptr, "операция НЕ выполнена : timeout.",
                                                  "операция НЕ выполнена : не совпали SlaveId.",
                                                  "операция НЕ выполнена : %s."};

/// What a transport has of its own around one and the same dialogue.
struct Framing {
    char const* begin;  ///< line at the beginning of a read
    Exchange::Texts read;
    Exchange::Texts write;
    /// Nothing of before is on the line, and a request that didn't go out whole has no answer.
    bool is_stream;
    int first;  ///< bytes of an answer that are read ahead of the others
    int ahead;  ///< bytes ahead of the data
    int tail;   ///< bytes behind the data
    void (*read_frame)(xCommon::ByteList& out, unsigned char sid, c_param const* param);
    void (*write_frame)(xCommon::ByteList& out, unsigned char sid, c_param const* param, std::string const& value);
    void (*span_frame)(xCommon::ByteList& out, unsigned char sid, unsigned char function, unsigned short address,
                       unsigned short count);
};

/// Run-time object of one slave: all of the dialogue but what a transport puts around a frame.
class device : public TypedDevice<c_dev, c_param> {
 public:
    device(IBase* port_object, CBase* node, Framing const& framing);

    void ProcConnect() override;
    using DevBase::ProcMessage;
    bool ProcMessage(std::string& topic, std::string& payload) override;
    /// One parameter, or all of a device with `all_params` when it is null.
    bool poll_param(CParam* param) override;

    /// One read exchange.
    BaseResult get_response(c_param* param);
    /// One write exchange; `item` is null except for a bit.
    void write(c_param* param, std::string value, bholding::bitem const* item);
    /// One exchange of a register set: asks for `count` registers or coils from `address` and appends the data of the
    /// reply. False after its line in the log.
    bool read_span(unsigned char function, unsigned short address, unsigned short count,
                   std::vector<unsigned char>& data);
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
    /// The rest of an answer to a read, and its checks; false behind a line.
    virtual bool take_answer(Exchange& exchange, c_param const& param) = 0;
    /// The answer to a write, likewise.
    virtual bool take_echo(Exchange& exchange, c_param const& param) = 0;
    virtual std::unique_ptr<modbus_rtu_frame_t> set_reply() const { return std::make_unique<modbus_rtu_frame_t>(); }
    /// Behind an exception of the line; where it is false that goes up.
    virtual bool reconnect() { return false; }
    iTran& line() { return *port->tran; }

 private:
    static constexpr unsigned short bit_limit = 2000;
    static constexpr unsigned short register_limit = 125;

    /// Turns what a command brings into what is written: the whole register for a bit, and the value through its
    /// expression. False when the register of a bit can't be read, or the expression went beyond its limits.
    bool to_register_value(c_param& param, std::string& value, bholding::bitem const* item);
    void take_data(c_param* param, std::span<unsigned char const> data, BaseResult& result);
    void tell_limit(c_param const& param, std::exception const& e);
    void poll_set(RegisterSet& set, char const* name);
    void enter_in_set(c_param* param);
    void add_commands(CommandMap& commands, CParam& param) override;

    Framing const& framing_;
    register_set_t<eFunCode::coils, bit_limit> coils_;
    register_set_t<eFunCode::discrete_inputs, bit_limit> statuses_;
    register_set_t<eFunCode::holding_registers, register_limit> holdings_;
    register_set_t<eFunCode::input_registers, register_limit> inputs_;
};

}  // namespace modbus
