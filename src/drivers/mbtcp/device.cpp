#include "drivers/mbtcp/device.h"

#include "config/constants.h"
#include "config/process.h"
#include "drivers/mbtcp/set_frame.h"

namespace mbtcp {

using modbus::c_param;
using xCommon::ByteList;
using xCommon::lmtError;
using xCommon::lmtIgnored;
using xCommon::lmtInfo;

namespace {

IBFac const registrar("mb-tcp" + suffix_dev, dev::create);

}  // namespace

IBase* dev::create(IBase* port_object, CBase* node) {
    return new dev(port_object, node);
}

/// Reads as many bytes as the header in the port's buffer announces, over that header. Gives their count, or -1 when
/// they didn't all come or the announced count can't be.
int dev::read_body(int rto) {
    int const length = pdu::reply_length(port->buffer);
    if (length < 0 || length > PortBase::buffer_size) {
        return -1;
    }
    return read_count(line(), port->buffer, length, rto) < length ? -1 : length;
}

BaseResult dev::get_response(c_param* param) {
    BaseResult result;
    if (param == nullptr) {
        return result;
    }
    param->Log(lmtInfo, "dev_mb_tcp::начало опроса.");
    line().set_timeout(param->rto, param->sto);
    ByteList frame;
    pdu::read(frame, slave_address(), param);
    unsigned char* const reply = port->buffer;
    int const length = frame.pop_buf(reply, PortBase::buffer_size);
    trace_hex(reply, length, "dev_mb_tcp::get_response : запрос");
    if (line().write(reply, length) != length) {
        return result;
    }
    // The count isn't looked at: behind a header that is cut short the length is the request's own, whose bytes still
    // lie in the buffer, and the read below ends in its time-out.
    int const head = read_count(line(), reply, pdu::mbap_size, param->rto);
    trace_hex(reply, head, "dev_mb_tcp::get_response : заголовок TCP");
    int const got = read_body(param->rto);
    if (got < 0) {
        param->Log(lmtError, "ответ НЕ получен : timeout.");
        return result;
    }
    trace_hex(reply, got, "dev_mb_tcp::get_response : ответ");
    if (pdu::check_head(param, slave_address(), reply, got) == 0) {
        return result;
    }

    result.is_ok = true;
    result.is_crc_ok = true;
    unsigned char const* const data = reply + pdu::head_size;
    int const data_size = got - pdu::head_size;
    if (!param->check_error_value(data, data_size)) {
        param->Logf(lmtIgnored, "получено ошибочное значение : %s : error_value = %s.", param->hexStr(data, data_size),
                    param->error_value);
        result.is_ok = false;
        return result;
    }
    result.result = param->CalculateReadExpression(param->GetValueFromBuffer(data, data_size));
    return result;
}

void dev::write(c_param* param, std::string value, bholding::bitem const* item) {
    if (param == nullptr) {
        return;
    }
    param->Logf(lmtInfo, "запись нового значения : %s.", value);
    if (item != nullptr) {
        param->Logf(lmtInfo, "запись бита в : %s.", item->name);
        value = prepare_to_write_bit(param, value, item);
        if (value.empty()) {
            return;
        }
    }
    value = param->CalculateWriteExpression(value);
    ByteList frame;
    pdu::write(frame, slave_address(), param, value);
    unsigned char* const reply = port->buffer;
    int const length = frame.pop_buf(reply, PortBase::buffer_size);
    trace_hex(reply, length, "dev_mb_tcp::write : запрос");
    if (line().write(reply, length) != length) {
        return;
    }
    int const head = read_count(line(), reply, pdu::mbap_size, param->rto);
    trace_hex(reply, head, "dev_mb_tcp::write : заголовок ответа");
    // What is checked behind the header is the tail of the request, as the reply's own hasn't been read yet. So only a
    // missing header fails here, and a slave's refusal counts as success: the value read back shows the truth.
    if (pdu::check_head(param, slave_address(), reply + pdu::mbap_size, head) == 0) {
        return;
    }
    int const got = read_body(param->rto);
    if (got < 0) {
        param->Log(lmtError, "операция НЕ выполнена : timeout.");
        return;
    }
    trace_hex(reply, got, "dev_mb_tcp::write : ответ");
    param->Logf(lmtInfo, "записано новое значение : %s.", value);
    poll_param(param);
}

/// No guard stands around the line here: what a transport raises goes up to the poll of all sets.
bool dev::read_span(unsigned char function, unsigned short address, unsigned short count,
                    std::vector<unsigned char>& data) {
    ByteList request;
    pdu::read_span(request, slave_address(), function, address, count);
    int const length = request.pop_buf(port->buffer, PortBase::buffer_size);
    trace_hex(port->buffer, length, "ЗАПРОС");
    line().flush();
    line().set_timeout(cfg->rto, cfg->sto);
    int const sent = line().write(port->buffer, length);
    if (sent != length) {
        cfg->Logf(lmtError, "ответ НЕ получен [%d:%d] : timeout", sent, length);
        return false;
    }
    modbus_tcp_frame_t frame;
    frame.rto = cfg->rto;
    if (!frame.read(port, slave_address(), cfg->type)) {
        return false;
    }
    trace_hex(frame.mbap.data(), pdu::mbap_size, "ОТВЕТ : заголовок TCP");
    trace_hex(&frame.header, sizeof(frame.header), "ОТВЕТ : заголовок RTU");
    trace_hex(frame.data.data(), static_cast<int>(frame.data.size()), "ОТВЕТ : полученные данные");
    data.insert(data.end(), frame.data.begin(), frame.data.end());
    return true;
}

}  // namespace mbtcp
