#include "drivers/modbus/device.h"

#include <utility>
#include <vector>

#include "config/constants.h"
#include "config/process.h"
#include "drivers/modbus/pdu.h"
#include "foundation/duk_helper.h"
#include "foundation/xexception.h"
#include "foundation/xmisc.h"
#include "runtime/command_connection.h"

namespace modbus {

using xCommon::lmtError;
using xCommon::lmtIgnored;
using xCommon::lmtInfo;
using xCommon::lmtTrace;
using xCommon::xString;

namespace {

constexpr DriverWords words = {"устройством Modbus", "Modbus"};
constexpr Exchange::Texts set_texts = {.request = "ЗАПРОС"};

}  // namespace

device::device(IBase* port_object, CBase* node, Framing const& framing)
    : TypedDevice(port_object, node, words), framing_(framing) {}

void add_register_commands(CommandMap& commands, DevBase& device, c_register& param, bool by_bits, bool subscribed) {
    auto const add = [&](std::string const& control, int bit) {
        commands.add(xString::Format(topic_on, device.get_device_name(), control), {&param, bit}, subscribed);
    };
    if (param.read_only) {
        return;
    }
    if (!by_bits) {
        add(param.name, -1);
    } else if (param.bits) {
        for (size_t bit = 0; bit < param.bits->items.size(); ++bit) {
            add(param.bits->items[bit].control_name(), static_cast<int>(bit));
        }
    }
}

bholding::bitem const* check_bit(CommandMap::Target const& target, std::string const& payload) {
    auto const* const param = dynamic_cast<c_register const*>(target.param);
    if (target.bit < 0 || param == nullptr || !param->bits) {
        return nullptr;
    }
    bholding::bitem const& item = param->bits->items.at(static_cast<size_t>(target.bit));
    if (payload != "0" && payload != "1") {
        param->Logf(lmtError, "значение %s нельзя писать в бит %s.", payload, item.name);
    }
    return &item;
}

bool guarded(CBase const& node, std::function<bool()> const& poll) {
    try {
        return poll();
    } catch (std::exception const& e) {
        node.Logf(lmtError, "исключение при опросе : %s", e.what());
        touch_configuration();
        return false;
    }
}

void hand_on(DevBase& device, c_register& param, BaseResult& result) {
    if (!param.has_bits() || !result.is_ok) {
        device.port->publish_result(result, &device, &param);
    } else if (param.bits) {
        param.bits->publish(&device, result);
    }
}

void device::ProcConnect() {
    subscribe_commands("subscribe on : %s");
}

void device::add_commands(CommandMap& commands, CParam& param) {
    if (c_param* const mine = own(&param)) {
        if (cfg->all_params && mine->enabled) {
            enter_in_set(mine);
        }
        add_register_commands(commands, *this, *mine, mine->reg_type == reg_holding_bit, mine->enabled);
    }
}

bool device::ProcMessage(std::string& topic, std::string& payload) {
    cfg->Logf(lmtTrace, "ProcMessage : %s = %s.", topic, payload);
    CommandMap::Target const target = commands_.find(topic);
    if (target.param == nullptr) {
        return false;
    }
    // A text that is no bit is written ahead all the same, and set_value() refuses it.
    bholding::bitem const* const item = check_bit(target, payload);
    CommandConnection const connection(*this);
    write(own(target.param), payload, item);
    return true;
}

bool device::poll_param(CParam* base_param) {
    if (base_param == nullptr) {
        return cfg->all_params && poll_all_params();
    }
    c_param* const param = own_or_told(base_param);
    if (param == nullptr) {
        return false;
    }
    xCommon::xMisc::delay(param->poll_delay);
    return guarded(*param, [this, param] {
        BaseResult result = get_response(param);
        if (param->in_debounce) {
            return true;
        }
        hand_on(*this, *param, result);
        return result.is_ok;
    });
}

void device::enter_in_set(c_param* param) {
    RegisterSet* const by_function[] = {&coils_, &statuses_, &holdings_, &inputs_};
    by_function[pdu::getReadFunCode(param) - 1]->add(param);
}

bool device::poll_all_params() {
    return guarded(*cfg, [this] {
        poll_set_params(coils_, "coil");
        poll_set_params(statuses_, "status");
        poll_set_params(holdings_, "holding");
        poll_set_params(inputs_, "input");
        return true;
    });
}

void device::poll_set(RegisterSet& set, char const* name) {
    if (set.empty()) {
        return;
    }
    xCommon::global_logf(lmtTrace, "%s registers: start address = %d, count = %d", name, set.start(), set.span());
    begin_poll();
    SetCounters const counters = is_silent() ? set.fail(port, this) : set.poll(port, this);
    auto const published = static_cast<long long>(counters.published);
    auto const failed = static_cast<long long>(counters.errors & 0xFFFFU);
    // A set that finds its line closed counts on from its last poll.
    bool const was_asked = !is_silent() && port->tran->is_open();
    count(published, failed, was_asked);
    if (!is_silent() && !was_asked) {
        presence.unreachable();
    }
}

BaseResult device::get_response(c_param* param) {
    BaseResult result;
    if (param == nullptr) {
        return result;
    }
    param->Log(lmtInfo, framing_.begin);
    if (!framing_.is_stream) {
        line().flush();
    }
    line().set_timeout(param->rto, param->sto);
    xCommon::ByteList frame;
    framing_.read_frame(frame, slave_address(), param);
    Exchange exchange(*port, *param, framing_.read);
    try {
        if (exchange.send(frame) != exchange.request_size() && framing_.is_stream) {
            return result;
        }
        exchange.head(framing_.first);
    } catch (...) {
        if (!reconnect()) {
            throw;
        }
        return result;
    }
    if (take_answer(exchange, *param)) {
        take_data(param, exchange.answer().subspan(static_cast<size_t>(framing_.ahead)), result);
    }
    return result;
}

void device::write(c_param* param, std::string value, bholding::bitem const* item) {
    if (param == nullptr) {
        return;
    }
    param->Logf(lmtInfo, "запись нового значения : %s.", value);
    if (!framing_.is_stream) {
        line().flush();
    }
    if (!to_register_value(*param, value, item)) {
        return;
    }
    xCommon::ByteList frame;
    framing_.write_frame(frame, slave_address(), param, value);
    Exchange exchange(*port, *param, framing_.write);
    if (exchange.send(frame) != exchange.request_size() && framing_.is_stream) {
        xCommon::LogExchange::fail();
        return;
    }
    if (take_echo(exchange, *param)) {
        param->Logf(lmtInfo, "записано новое значение : %s.", value);
        poll_param(param);
    }
}

bool device::read_span(unsigned char function, unsigned short address, unsigned short count,
                       std::vector<unsigned char>& data) {
    xCommon::ByteList request;
    framing_.span_frame(request, slave_address(), function, address, count);
    Exchange exchange(*port, *cfg, set_texts);
    exchange.load(request);
    exchange.prepare(*cfg);
    int sent = 0;
    try {
        sent = exchange.send();
    } catch (...) {
        if (!reconnect()) {
            throw;
        }
        return false;
    }
    if (sent != exchange.request_size()) {
        cfg->Logf(framing_.is_stream ? lmtError : lmtTrace, "ответ НЕ получен [%d:%d] : timeout", sent,
                  exchange.request_size());
        return false;
    }
    auto const reply = set_reply();
    if (!reply->read(port, slave_address(), cfg->type)) {
        if (!reply->is_whole) {
            Exchange::abandon(*port, *cfg);
        }
        return false;
    }
    reply->trace(*port);
    data.insert(data.end(), reply->data.begin(), reply->data.end());
    return true;
}

/// The value may be read from what stands behind the data too: a slave that sends a byte or two less than the value
/// type needs is decoded with its CRC as data rather than refused. Slaves that are read this way are in service.
void device::take_data(c_param* param, std::span<unsigned char const> data, BaseResult& result) {
    auto const size = static_cast<int>(data.size());
    result.is_ok = true;
    result.is_crc_ok = true;
    if (!param->check_error_value(data.data(), size - framing_.tail)) {
        param->Logf(lmtIgnored, "получено ошибочное значение : %s : error_value = %s.",
                    param->hexStr(data.data(), size - framing_.tail), param->error_value);
        result.is_ok = false;
        return;
    }
    std::string const value = param->GetValueFromBuffer(data.data(), size);
    try {
        result.result = check_debounce(param, param->CalculateReadExpression(value));
    } catch (xCommon::ExpressionLimit const& e) {
        tell_limit(*param, e);
        result.is_ok = false;
    }
}

/// No reason to restart the process, unlike a fault of an expression: it would only come again and hold all ports.
void device::tell_limit(c_param const& param, std::exception const& e) {
    param.Logf(lmtError, "порт %s : параметр %s : выражение прервано : %s.", port->cport->name, param.name, e.what());
}

std::string device::check_debounce(c_param* /*param*/, std::string const& value) {
    return value;
}

std::string device::prepare_to_write_bit(c_param* param, std::string const& value, bholding::bitem const* item) {
    BaseResult const current = get_response(param);
    return current.is_ok ? item->set_value(current.result, value) : std::string();
}

bool device::to_register_value(c_param& param, std::string& value, bholding::bitem const* item) {
    if (item != nullptr) {
        param.Logf(lmtInfo, "запись бита в : %s.", item->name);
        value = prepare_to_write_bit(&param, value, item);
        if (value.empty()) {
            xCommon::LogExchange::fail();
            return false;
        }
    }
    try {
        value = param.CalculateWriteExpression(value);
    } catch (xCommon::ExpressionLimit const& e) {
        tell_limit(param, e);
        return false;
    }
    return true;
}

}  // namespace modbus
