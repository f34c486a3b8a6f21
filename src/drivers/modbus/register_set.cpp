#include "drivers/modbus/register_set.h"

#include <algorithm>

#include "drivers/modbus/device.h"
#include "drivers/modbus/pdu.h"
#include "foundation/xexception.h"

namespace modbus {

using xCommon::lmtError;
using xCommon::lmtIgnored;
using xCommon::lmtTrace;

namespace {

constexpr unsigned int addresses = 65536;

/// Place of a register parameter in the data, in bytes.
size_t byte_offset(c_param const& param, unsigned short start) {
    return size_t{2} * static_cast<unsigned short>(param.reg_addr - start);
}

bool is_bit(c_param const& param) {
    return param.reg_type == reg_coil || param.reg_type == reg_status;
}

}  // namespace

void RegisterSet::add(c_param* param) {
    start_ = std::min(start_, param->reg_addr);
    unsigned int const last = param->reg_addr + pdu::getRegNum(param) - 1U;
    if (last >= addresses) {
        // The wording is of old, although the fault is in the address.
        throw xCommon::xExceptionf("Параметр %s имеет недопустимый тип", param->name);
    }
    end_ = std::max(end_, static_cast<unsigned short>(last));
    // At a reconnection every parameter comes again. The first visit of a poll makes a parameter not due for the
    // second, unless its interval is 0: only there the repeat can be seen, and all others are left out.
    bool const is_new = known_.insert(param).second;
    if (is_new || param->poll_interval <= 0) {
        params_.push_back(param);
    }
}

SetCounters RegisterSet::poll(PortBase* port, device* dev) {
    port->tran->resume();
    if (!port->tran->is_open()) {
        // Here the counters go on from the previous poll.
        return publish_errors(port, dev);
    }
    counters_ = {};
    unsigned short remaining = params_.empty() ? 0 : span();
    if (buffer_size_ == 0 && remaining != 0) {
        buffer_size_ = is_bit_set() ? (remaining + 7U) / 8U : remaining * 2U;
        dev->cfg->Logf(lmtTrace, "Размер приемного буфера: %u (байт)", buffer_size_);
    }
    std::vector<unsigned char> data;
    data.reserve(buffer_size_);
    unsigned short address = start_;
    unsigned short chunk = std::min(remaining, limit_);
    bool ok = remaining != 0;
    while (ok && remaining != 0) {
        ok = dev->read_span(static_cast<unsigned char>(function_), address, chunk, data);
        remaining = static_cast<unsigned short>(remaining - chunk);
        address = static_cast<unsigned short>(address + chunk);
        chunk = std::min(remaining, chunk);
    }
    return parse_and_publish(port, dev, data, ok);
}

SetCounters RegisterSet::fail(PortBase* port, device* dev) {
    counters_ = {};
    return publish_errors(port, dev);
}

/// The value of a parameter; false when its bytes have not all arrived.
bool RegisterSet::cut_out(c_param const& param, std::vector<unsigned char> const& data, BaseResult& result) const {
    if (is_bit(param)) {
        unsigned int const offset = static_cast<unsigned short>(param.reg_addr - start_);
        if (offset / 8 >= data.size()) {
            return false;
        }
        result.result.assign(1, ((data[offset / 8] >> (offset % 8)) & 1U) != 0 ? '1' : '0');
        return true;
    }
    size_t const offset = byte_offset(param, start_);
    size_t const length = size_t{2} * pdu::getRegNum(&param);
    if (offset + length > data.size()) {
        return false;
    }
    if (!param.has_bits()) {
        result.result = param.GetValueFromBuffer(data.data() + offset, static_cast<int>(length));
    }
    return true;
}

/// The comparison takes as many bytes as the parameter has registers, so it sees the leading half of the value only,
/// and that of bits and bit fields the beginning of the whole reply. Patterns in service are written for it.
bool RegisterSet::is_error_value(c_param& param, std::vector<unsigned char> const& data) const {
    size_t const offset = is_bit(param) || param.has_bits() ? 0 : byte_offset(param, start_);
    int const length = pdu::getRegNum(&param);
    if (offset + static_cast<size_t>(length) > data.size() || param.check_error_value(data.data() + offset, length)) {
        return false;
    }
    param.Logf(lmtIgnored, "получено ошибочное значение : %s : error_value = %s",
               param.hexStr(data.data() + offset, length), param.error_value);
    return true;
}

/// A bit field has no value of its own here, and publishing it raises: bit fields are for devices that are polled
/// parameter by parameter.
void RegisterSet::hand_on(PortBase* port, device* dev, c_param& param, BaseResult& result) const {
    if (param.in_debounce) {
        return;
    }
    if (!param.has_bits()) {
        port->publish_result(result, dev, &param);
    } else if (param.bits) {
        param.bits->publish(dev, result);
    }
}

SetCounters RegisterSet::parse_and_publish(PortBase* port, device* dev, std::vector<unsigned char> const& data,
                                           bool ok) {
    if (!ok) {
        return publish_errors(port, dev);
    }
    long long const now = dev->cfg->last_poll;
    for (c_param* param : params_) {
        if (!param->is_due(now)) {
            continue;
        }
        xCommon::LogExchange const exchange;
        param->last_poll = now;
        BaseResult result;
        result.is_crc_ok = true;
        result.is_ok = cut_out(*param, data, result);
        if (!result.is_ok) {
            param->Log(lmtError, "ответ короче запрошенного : значение НЕ получено.");
            ++counters_.errors;
        } else {
            // The value isn't withdrawn, unlike that of a single read.
            if (is_error_value(*param, data)) {
                xCommon::LogExchange::fail();
                ++counters_.errors;
            }
            result.result = dev->check_debounce(param, result.result);
        }
        hand_on(port, dev, *param, result);
        ++counters_.published;
    }
    return counters_;
}

SetCounters RegisterSet::publish_errors(PortBase* port, device* dev) {
    long long const now = dev->cfg->last_poll;
    for (c_param* param : params_) {
        if (!param->is_due(now)) {
            continue;
        }
        param->last_poll = now;
        BaseResult result;
        result.is_crc_ok = true;
        hand_on(port, dev, *param, result);
        ++counters_.published;
        ++counters_.errors;
    }
    return counters_;
}

}  // namespace modbus
