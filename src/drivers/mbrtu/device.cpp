#include "drivers/mbrtu/device.h"

#include "drivers/mbrtu/config.h"
#include "drivers/mbrtu/pdu.h"
#include "foundation/xmisc.h"

namespace mbrtu {

using xCommon::HeadFault;
using xCommon::lmtError;
using xCommon::lmtTrace;

namespace {

CBFac const registrars[] = {CBFac::add<c_dev>("mb-rtu.cdev"), CBFac::add<c_param>("mb-rtu.cparam")};
IBFac const registrar = IBFac::add<dev>("mb-rtu.dev");

/// Reply to function 16: address, function, register address, count, CRC.
constexpr size_t write_registers_reply = 8;
/// The shortest answer: address, function, exception code, CRC.
constexpr size_t refusal_size = 5;

constexpr modbus::Framing framing = {
    .begin = "dev_mb_rtu::начало опроса.",
    .read = {.request = "dev_mb_rtu::get_response : запрос",
             .head = "dev_mb_rtu::get_response : заголовок RTU",
             .rest = "dev_mb_rtu::get_response : ответ",
             .head_faults = modbus::head_texts,
             .no_rest = "dev_mb_rtu::ответ НЕ получен : timeout.",
             .wrong_crc = "ответ НЕ получен : не совпали CRC."},
    .write = {.request = "dev_mb_rtu::write : запрос",
              .head = "dev_mb_rtu::write : ответ",
              .head_faults = modbus::head_texts,
              .wrong_crc = "операция НЕ выполнена : не совпали CRC."},
    .is_stream = false,
    .first = pdu::head_size,
    .ahead = pdu::head_size,
    .tail = pdu::crc_size,
    .read_frame = pdu::read,
    .write_frame = pdu::write,
    .span_frame = pdu::read_span,
};

}  // namespace

dev::dev(IBase* port_object, CBase* node) : device(port_object, node, framing) {}

bool dev::take_answer(Exchange& exchange, modbus::c_param const& param) {
    auto const head = exchange.answer();
    HeadFault const found = pdu::check_head(slave_address(), head);
    if (!exchange.is_good(found, pdu::refusal(head))) {
        if (found == HeadFault::timeout) {
            Exchange::abandon(*port, param);
        }
        return false;
    }
    if (!exchange.rest(head[2] + pdu::crc_size)) {
        Exchange::abandon(*port, param);
        return false;
    }
    return exchange.has_crc();
}

/// Functions 5 and 6 echo the request. What "holding" and "holding-bit" write by function 16 waits for an echo too, and
/// so ends in the time-out below although the slave has taken it; the value shows at the next poll.
bool dev::take_echo(Exchange& exchange, modbus::c_param const& param) {
    auto const expected =
        param.reg_type == modbus::reg_holding_m ? write_registers_reply : static_cast<size_t>(exchange.request_size());
    auto const reply = exchange.head(static_cast<int>(expected));
    if (!exchange.is_good(pdu::check_head(slave_address(), reply), pdu::refusal(reply))) {
        if (reply.size() < refusal_size) {
            Exchange::abandon(*port, param);
        }
        return false;
    }
    if (reply.size() < expected) {
        param.Log(lmtError, "операция НЕ выполнена : timeout.");
        Exchange::abandon(*port, param);
        return false;
    }
    return exchange.has_crc();
}

bool dev::reconnect() {
    if (port->tran) {
        bool const open = port->tran->reopen();
        cfg->Logf(lmtTrace, "Ошибка выполнения запроса MB-RTU. Попытка переподключения: %s", open ? "true" : "false");
    }
    return true;
}

std::string dev::check_debounce(modbus::c_param* param, std::string const& value) {
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
