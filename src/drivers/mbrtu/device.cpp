#include "drivers/mbrtu/device.h"

#include "config/constants.h"
#include "config/process.h"
#include "drivers/mbrtu/set_frame.h"
#include "foundation/xmisc.h"
#include "runtime/exchange.h"

namespace mbrtu {

using modbus::c_param;
using xCommon::ByteList;
using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::lmtTrace;

namespace {

IBFac const registrar = IBFac::add<dev>("mb-rtu.dev");

/// Reply to function 16: address, function, register address, count, CRC.
constexpr int write_registers_reply = 8;
/// The shortest answer: address, function, exception code, CRC.
constexpr int refusal_size = 5;

}  // namespace

BaseResult dev::get_response(c_param* param) {
    BaseResult result;
    if (param == nullptr) {
        return result;
    }
    param->Log(lmtInfo, "dev_mb_rtu::начало опроса.");
    line().flush();
    line().set_timeout(param->rto, param->sto);
    ByteList frame;
    pdu::read(frame, slave_address(), param);
    unsigned char const* const reply = port->buffer;
    int got = 0;
    try {
        int const length = exchange::load(*port, frame, "dev_mb_rtu::get_response : запрос");
        exchange::send(*port, length);
        got = exchange::receive(*port, 0, pdu::head_size, "dev_mb_rtu::get_response : заголовок RTU");
    } catch (...) {
        reconnect();
        return result;
    }

    if (pdu::check_head(param, slave_address(), reply, got) == 0) {
        if (got < pdu::head_size) {
            exchange::abandon(*port, *param);
        }
        return result;
    }
    int const data_size = reply[2];
    int const rest = data_size + pdu::crc_size;
    if (!exchange::receive_rest(*port, pdu::head_size, rest, "dev_mb_rtu::get_response : ответ")) {
        param->Log(lmtError, "dev_mb_rtu::ответ НЕ получен : timeout.");
        exchange::abandon(*port, *param);
        return result;
    }
    if (!pdu::check_crc({reply, static_cast<size_t>(pdu::head_size + rest)})) {
        param->Log(lmtError, "ответ НЕ получен : не совпали CRC.");
        return result;
    }
    // The value's length counts the CRC too: a slave that sends a byte or two less than the value type needs is decoded
    // with its CRC as data rather than refused. Slaves that are read this way are in service.
    take_data(param, reply + pdu::head_size, data_size, rest, result);
    return result;
}

bool dev::read_span(unsigned char function, unsigned short address, unsigned short count,
                    std::vector<unsigned char>& data) {
    ByteList request;
    pdu::read_span(request, slave_address(), function, address, count);
    int const length = exchange::load(*port, request, "ЗАПРОС");
    line().flush();
    line().set_timeout(cfg->rto, cfg->sto);
    int sent = 0;
    try {
        sent = exchange::send(*port, length);
    } catch (...) {
        reconnect();
        return false;
    }
    if (sent != length) {
        cfg->Logf(lmtTrace, "ответ НЕ получен [%d:%d] : timeout", sent, length);
        return false;
    }
    modbus_rtu_frame_t frame;
    if (!frame.read(port, slave_address(), cfg->type)) {
        if (!frame.is_whole) {
            exchange::abandon(*port, *cfg);
        }
        return false;
    }
    trace_hex(*port->cport, &frame.header, sizeof(frame.header), "ОТВЕТ : заголовок RTU");
    trace_hex(*port->cport, frame.data.data(), static_cast<int>(frame.data.size()), "ОТВЕТ : полученные данные");
    data.insert(data.end(), frame.data.begin(), frame.data.end());
    return true;
}

void dev::reconnect() {
    if (port->tran) {
        bool const open = port->tran->reopen();
        cfg->Logf(lmtTrace, "Ошибка выполнения запроса MB-RTU. Попытка переподключения: %s", open ? "true" : "false");
    }
}

void dev::write(c_param* param, std::string value, bholding::bitem const* item) {
    if (param == nullptr) {
        return;
    }
    param->Logf(lmtInfo, "запись нового значения : %s.", value);
    line().flush();
    if (!to_register_value(*param, value, item)) {
        return;
    }
    ByteList frame;
    pdu::write(frame, slave_address(), param, value);
    unsigned char const* const reply = port->buffer;
    int const length = exchange::load(*port, frame, "dev_mb_rtu::write : запрос");
    exchange::send(*port, length);

    // Functions 5 and 6 echo the request. What "holding" and "holding-bit" write by function 16 waits for an echo too,
    // and so ends in the time-out below although the slave has taken it; the value shows at the next poll.
    int const expected = param->reg_type == modbus::reg_holding_m ? write_registers_reply : length;
    int const got = exchange::receive(*port, 0, expected, "dev_mb_rtu::write : ответ");
    if (pdu::check_head(param, slave_address(), reply, got) == 0) {
        if (got < refusal_size) {
            exchange::abandon(*port, *param);
        }
        return;
    }
    if (got < expected) {
        param->Log(lmtError, "операция НЕ выполнена : timeout.");
        exchange::abandon(*port, *param);
        return;
    }
    if (!pdu::check_crc({reply, static_cast<size_t>(expected)})) {
        param->Log(lmtError, "операция НЕ выполнена : не совпали CRC.");
        return;
    }
    param->Logf(lmtInfo, "записано новое значение : %s.", value);
    poll_param(param);
}

std::string dev::check_debounce(c_param* param, std::string const& value) {
    if (param->debounce == 0) {
        return value;
    }
    param->Logf(lmtTrace, "debounce = %d : db_value = %s : value = %s.", param->debounce, param->db_value, value);
    param->in_debounce = true;
    if (param->db_value.empty()) {
        param->Log(lmtTrace, "debounce : записанное значение пустое.");
        param->db_value = value;
        return {};
    }
    param->Log(lmtTrace, "debounce : записанное значение не пустое.");
    if (value == param->db_value) {
        param->Logf(lmtTrace,
                    "debounce : записанное значение совпало с полученным : %s = %s.\nКонтроль дребезга прекращается.",
                    param->db_value, value);
        param->debounce_since = 0;
        param->in_debounce = false;
        return value;
    }
    param->Log(lmtTrace, "debounce : дребезг.");
    long long const now = xCommon::xtime::time();
    if (param->debounce_since == 0) {
        param->Log(lmtTrace, "debounce : начало контроля дребезга.");
        param->debounce_since = now;
        return {};
    }
    long long const passed = now - param->debounce_since;
    // A start in the future means that the clock was set back: the timer counts as run out.
    if (passed < 0 || param->debounce <= passed) {
        // The literal "/n" and the lone "s" stand as they always have.
        param->Log(lmtTrace, "debounce : истек таймер контроля дребезга./nВозвращаем : s");
        param->debounce_since = 0;
        param->db_value = value;
        param->in_debounce = false;
        return value;
    }
    param->Logf(lmtTrace, "debounce : до конца контроля дребезга осталось %d секунд.", param->debounce - passed);
    return {};
}

}  // namespace mbrtu
