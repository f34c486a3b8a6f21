#include "drivers/pulsartcp/device.h"

#include <vector>

#include "config/constants.h"
#include "config/process.h"
#include "drivers/pulsartcp/pdu.h"
#include "foundation/xexception.h"
#include "foundation/xmisc.h"
#include "runtime/exchange.h"

namespace pulsartcp {

using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::lmtTrace;
using xCommon::xExceptionf;
using xCommon::xMisc;
using xCommon::xString;

namespace {

IBFac const registrar = IBFac::add<dev>("pulsar-tcp.dev");

constexpr Exchange::Texts texts = {.request = "dev_pulsar_tcp::get_response : запрос"};

constexpr DriverWords words = {"счётчиком Пульсар", "Пульсар"};
constexpr WalkRules rules = {"Poll : исключение при опросе параметра : %s."};

/// How long a meter is left alone behind a connection.
constexpr int rest_ms = 3000;

char const* text_of(bool value) {
    return value ? "true" : "false";
}

/// False with `br.err` set for a response that can't be used; see pdu::check_frame().
bool check_response(c_dev& config, c_param*& param, unsigned char const* frame, int size, BaseResult& br) {
    c_param const& asker = *param;
    Findings found;
    bool const ok = pdu::check_frame(&config, param, found, frame, size) == 0;
    if (found.id) {
        asker.Logf(lmtTrace, "id : %d", *found.id);
    }
    if (found.crc) {
        param->Logf(lmtTrace, "crc : %d, received_crc : %d", *found.crc, found.received_crc);
        if (!ok) {
            param->Log(lmtError, "ответ НЕ получен : не совпали CRC");
        }
    }
    br.err = found.failure;
    return ok;
}

/// Null with `br.err` set when there is none.
Handler const* find_handler(c_dev const& config, c_param const& param, BaseResult& br) {
    auto const kind = config.handlers.find(config.type_device);
    if (kind == config.handlers.end()) {
        // The type word, not the kind that was looked up: the text is known so.
        br.err = xString::Format("ОШИБКА : неизвестное устройство : %s", param.type);
        return nullptr;
    }
    auto const function = kind->second.find(param.function);
    if (function == kind->second.end()) {
        br.err = xString::Format("ОШИБКА : неизвестный номер функции : %d", param.function);
        return nullptr;
    }
    auto const handler = function->second.find(static_cast<unsigned short>(param.parameter_number));
    if (handler == function->second.end()) {
        br.err = xString::Format("ОШИБКА : неизвестный номер параметра : %u", param.parameter_number);
        return nullptr;
    }
    return &handler->second;
}

}  // namespace

dev::dev(IBase* port_object, CBase* node) : TypedDevice(port_object, node, words, rules) {}

void dev::Poll(long long now) {
    cfg->Logf(lmtTrace, "\nДЛИТЕЛЬНОСТЬ ОПРОСА : %d\nnow : %d\nthis->LastPoll : %d\ncbase->poll_interval : %d",
              now - cfg->last_poll, now, cfg->last_poll, cfg->poll_interval);
    if (!cfg->is_due(now)) {
        return;
    }
    cfg->last_poll = now;
    if (!port->tran->is_open()) {
        port->tran->open();  // true of a peer that is away, too
        bool const open = port->tran->is_open();
        cfg->Logf(lmtError, "port->tran->is_open() : %s", text_of(open));
        if (!open) {
            presence.unreachable();
            return;
        }
    }
    walk(now);
    if (port->tran->is_open()) {
        port->release_line();
        xMisc::delay(rest_ms);
    }
}

bool dev::poll_param(CParam* param) {
    if (param == nullptr) {
        return false;
    }
    xMisc::delay(config_->delay);
    // Null for a parameter of another driver's class, whose poll fails.
    c_param* asked = own_or_told(param);
    BaseResult result;
    try {
        result = get_response(asked);
    } catch (std::exception const& e) {
        recover(*param, e);
        return false;
    }
    if (asked != nullptr) {
        param = asked;
    }
    param->Logf(lmtTrace, "\nbr.err = %s\nbr.is_crc_ok = %s\nbr.is_ok = %s\nbr.result = %s", result.err,
                text_of(result.is_crc_ok), text_of(result.is_ok), result.result);
    port->publish_result(result, this, param);
    return result.is_ok;
}

BaseResult dev::get_response(c_param*& param) {
    BaseResult result;
    if (param == nullptr) {
        result.err = "запрос проигнорирован : нулевой указатель _pulsartcp_param";
        return result;
    }
    pdu::init_parameter_handlers(config_->handlers);
    param->Log(lmtInfo, "pulsar_tcp::начало опроса.");
    port->tran->set_timeout(param->rto, param->sto);
    param->Logf(lmtInfo, "\n_pulsartcp_param->rto : %d\n_pulsartcp_param->sto : %d", param->rto, param->sto);

    unsigned short const id = pdu::random_id();
    xCommon::ByteList frame;
    pdu::read(frame, config_->sid, param->function, param->parameter_number, id, param);
    Exchange exchange(*port, *param, texts);
    exchange.load(frame);
    if (xCommon::xLog::gv != nullptr) {
        // At all times; option -h only makes it stand there twice.
        xCommon::xLog::gv->PrintHex(exchange.held(0).data(), exchange.request_size(), texts.request);
    }
    int const sent = exchange.send();
    if (sent <= 0) {
        throw xExceptionf("tcp_write : size = %d", sent);
    }
    // One read: a response isn't gathered from pieces.
    int const got = exchange.arrival();
    if (got <= 0) {
        result.err = xString::Format("ответ НЕ получен : ошибка чтения : %d", got);
        if (read_failed) {
            throw xExceptionf("tcp_read : size = %d", got);
        }
        read_failed = true;
        return result;
    }
    // Behind the read: a request that nothing at all came for isn't waited for any longer.
    config_->save_request.emplace(id, param);
    param->Logf(lmtTrace, "\nerror size = %d\nsave_request.size() = %d", got, config_->save_request.size());
    std::vector<unsigned char> payload(exchange.answer().begin(), exchange.answer().end());
    if (!check_response(*config_, param, payload.data(), got, result)) {
        return result;
    }

    param->Logf(lmtTrace, "_pulsartcp_param->type = %s", param->type);
    pdu::cut_payload(payload);
    Handler const* const handler = find_handler(*config_, *param, result);
    if (handler == nullptr) {
        return result;
    }
    // Twice, for the log and for the result: one that turns its bytes round shows them here and publishes them there.
    std::string const shown = (*handler)(payload);
    param->Logf(lmtTrace, "ВЫВОД РЕЗУЛЬТАТА : %s", shown);
    result.result = (*handler)(payload);
    result.is_ok = true;
    return result;
}

/// A connection that broke for the second time may be down to this process: it is made anew, and the whole process
/// replaced through its file watch.
void dev::recover(CParam const& param, std::exception const& error) {
    port->tran->close();
    xMisc::delay(rest_ms);
    param.Logf(lmtError, "\nОшибка выполнения запроса PULSAR-TCP\nПопытка переподключения: %s",
               text_of(port->tran->open()));
    param.Logf(lmtError, "исключение при опросе : %s", error.what());
    read_failed = false;
    if (int const status = touch_configuration(); status >= 0) {
        param.Logf(lmtError, "Выходной код : %d", status);
    }
}

}  // namespace pulsartcp
