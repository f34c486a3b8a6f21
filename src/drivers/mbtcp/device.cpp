#include "drivers/mbtcp/device.h"

#include "config/constants.h"
#include "config/process.h"
#include "drivers/mbtcp/set_frame.h"
#include "runtime/exchange.h"

namespace mbtcp {

using modbus::c_param;
using xCommon::ByteList;
using xCommon::lmtError;
using xCommon::lmtInfo;

namespace {

IBFac const registrar = IBFac::add<dev>("mb-tcp.dev");

}  // namespace

/// Reads as many bytes as the header in the port's buffer announces, over that header. Gives their count, or -1 when
/// they didn't all come or are more than a unit can have. The connection is closed then, and when they are too few.
int dev::read_body(c_param const& param, int header_size, char const* label, bool is_write) {
    int const length = header_size < pdu::mbap_size ? pdu::most + 1 : pdu::reply_length(port->buffer);
    // Of an answer to a write what came is traced, whole or not.
    bool const came = length <= pdu::most && (is_write ? exchange::receive(*port, 0, length, label) == length
                                                       : exchange::receive_rest(*port, 0, length, label));
    if (!came || length < pdu::head_size) {
        exchange::abandon(*port, param);
    }
    return came ? length : -1;
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
    int const length = exchange::load(*port, frame, "dev_mb_tcp::get_response : запрос");
    if (exchange::send(*port, length) != length) {
        return result;
    }
    int const head = exchange::receive(*port, 0, pdu::mbap_size, "dev_mb_tcp::get_response : заголовок TCP");
    int const got = read_body(*param, head, "dev_mb_tcp::get_response : ответ", false);
    if (got < 0) {
        param->Log(lmtError, "ответ НЕ получен : timeout.");
        return result;
    }
    if (pdu::check_head(param, slave_address(), port->buffer, got) == 0) {
        return result;
    }
    int const data_size = got - pdu::head_size;
    take_data(param, port->buffer + pdu::head_size, data_size, data_size, result);
    return result;
}

void dev::write(c_param* param, std::string value, bholding::bitem const* item) {
    if (param == nullptr) {
        return;
    }
    param->Logf(lmtInfo, "запись нового значения : %s.", value);
    if (!to_register_value(*param, value, item)) {
        return;
    }
    ByteList frame;
    pdu::write(frame, slave_address(), param, value);
    int const length = exchange::load(*port, frame, "dev_mb_tcp::write : запрос");
    if (exchange::send(*port, length) != length) {
        xCommon::LogExchange::fail();
        return;
    }
    int const head = exchange::receive(*port, 0, pdu::mbap_size, "dev_mb_tcp::write : заголовок ответа");
    // What is checked behind the header is the tail of the request, as the reply's own hasn't been read yet. So only a
    // missing header fails here, and a slave's refusal counts as success: the value read back shows the truth.
    if (pdu::check_head(param, slave_address(), port->buffer + pdu::mbap_size, head) == 0) {
        exchange::abandon(*port, *param);
        return;
    }
    if (read_body(*param, head, "dev_mb_tcp::write : ответ", true) < 0) {
        param->Log(lmtError, "операция НЕ выполнена : timeout.");
        return;
    }
    param->Logf(lmtInfo, "записано новое значение : %s.", value);
    poll_param(param);
}

/// No guard stands around the line here: what a transport raises goes up to the poll of all sets.
bool dev::read_span(unsigned char function, unsigned short address, unsigned short count,
                    std::vector<unsigned char>& data) {
    ByteList request;
    pdu::read_span(request, slave_address(), function, address, count);
    int const length = exchange::load(*port, request, "ЗАПРОС");
    line().flush();
    line().set_timeout(cfg->rto, cfg->sto);
    int const sent = exchange::send(*port, length);
    if (sent != length) {
        cfg->Logf(lmtError, "ответ НЕ получен [%d:%d] : timeout", sent, length);
        return false;
    }
    modbus_tcp_frame_t frame;
    if (!frame.read(port, slave_address(), cfg->type)) {
        if (!frame.is_whole) {
            exchange::abandon(*port, *cfg);
        }
        return false;
    }
    trace_hex(*port->cport, frame.mbap.data(), pdu::mbap_size, "ОТВЕТ : заголовок TCP");
    trace_hex(*port->cport, &frame.header, sizeof(frame.header), "ОТВЕТ : заголовок RTU");
    trace_hex(*port->cport, frame.data.data(), static_cast<int>(frame.data.size()), "ОТВЕТ : полученные данные");
    data.insert(data.end(), frame.data.begin(), frame.data.end());
    return true;
}

}  // namespace mbtcp
