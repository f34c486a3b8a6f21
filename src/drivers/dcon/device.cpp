#include "drivers/dcon/device.h"

#include <algorithm>
#include <vector>

#include "config/constants.h"
#include "config/process.h"
#include "drivers/dcon/pdu.h"

namespace dcon {

using xCommon::ByteList;
using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::lmtTrace;
using xCommon::xString;

namespace {

IBFac const registrar = IBFac::add<dev>("dcon.dev");

/// This protocol is traced as text: see trace_text().
constexpr Exchange::Texts read_texts = {.no_rest = "ответ НЕ получен : timeout."};

constexpr DriverWords words = {"модулем DCON", "DCON"};
constexpr WalkRules rules = {"Poll : исключение при опросе параметра : %s.", WalkRules::Blame::port};

/// Behind the data and the checksum of an answer.
constexpr int end_size = 1;

/// For option -h: this protocol is read as text, without the carriage return that would break the line.
void trace_text(c_param const& param, char const* format, std::span<unsigned char const> bytes) {
    if (PH::IsPrintHex) {
        param.Logf(lmtTrace, xCommon::RuntimeFormat(format), xString::Replace(pdu::text_of(bytes), "\r", ""));
    }
}

}  // namespace

dev::dev(IBase* port_object, CBase* node) : TypedDevice(port_object, node, words, rules) {}

void dev::Poll(long long now) {
    port->check_for_personal_rs(this);
    begin_pass();
    walk(now);
    CheckFault();
}

bool dev::poll_param(CParam* base_param) {
    c_param* const param = own(base_param);
    if (param == nullptr) {
        return false;
    }
    try {
        BaseResult result = get_response(param);
        if (result.is_ok && param->bits) {
            param->bits->publish(this, result);
        } else {
            port->publish_result(result, this, param);
        }
        return result.is_ok;
    } catch (std::exception const& e) {
        param->Logf(lmtError, "исключение при опросе : %s", e.what());
        return false;
    }
}

BaseResult dev::get_response(c_param* param) {
    BaseResult result;
    if (param == nullptr) {
        return result;
    }
    param->Log(lmtInfo, "начало опроса.");
    Exchange exchange(*port, *param, read_texts);
    exchange.prepare(*param);
    ByteList frame;
    pdu::get_read_cmd(frame, param);
    if (!send(*param, exchange, frame, "запрос : %s")) {
        return result;
    }
    auto const head = static_cast<size_t>(pdu::get_head_size(param));
    auto const beginning = exchange.head(static_cast<int>(head));
    trace_text(*param, "заголовок ответа : %s", beginning);
    if (!is_head(*param, beginning, "")) {
        return result;
    }
    int const data = pdu::get_resp_size(param);
    int const rest = data + config_->crc_size + end_size;
    if (!exchange.rest(rest)) {
        return result;
    }
    auto const reply = exchange.answer();
    trace_text(*param, "ответ : %s", reply.subspan(head));
    if (!check_crc(param, reply, static_cast<int>(head) + data)) {
        return result;
    }
    result.is_ok = true;
    result.is_crc_ok = true;
    result.result = pdu::get_value(param, reply.data() + head, rest);
    param->Logf(lmtTrace, "получено значение : %s.", result.result);
    return result;
}

bool dev::check_crc(c_param const* param, std::span<unsigned char const> reply, int len) {
    c_dev const& module = *param->device;
    if (!module.crc_enabled) {
        return true;
    }
    auto const summed = std::min(static_cast<size_t>(std::max(len, 0)), reply.size());
    ByteList bytes;
    bytes.push_buf(reply.data(), static_cast<int>(summed));
    std::string const expected = pdu::calculate_crc(bytes);
    auto const left = std::min(static_cast<size_t>(module.crc_size), reply.size() - summed);
    // Text against text: a module that sends lower-case digits is refused.
    std::string const arrived = pdu::text_of(reply.subspan(summed, left));
    if (arrived != expected) {
        param->Logf(lmtError, "не совпали CRC : %s != %s.", arrived, expected);
        return false;
    }
    return true;
}

void dev::add_commands(CommandMap& commands, CParam& param) {
    if (is_own(param)) {
        DevBase::add_commands(commands, param);
    }
}

void dev::ProcConnect() {
    subscribe_commands("subscribe on : %s.");
}

bool dev::ProcMessage(std::string& topic, std::string& payload) {
    cfg->Logf(lmtTrace, "ProcMessage : %s = %s.", topic, payload);
    c_param* const param = own(commands_.find(topic).param);
    if (param == nullptr) {
        return false;
    }
    need_line();
    write(param, payload);
    return true;
}

/// With the time-outs in force on the line, those of the poll before.
void dev::write(c_param* param, std::string const& value) {
    if (param == nullptr) {
        return;
    }
    param->Logf(lmtInfo, "запись нового значения : %s.", value);
    // A module answers under the address that it has just been given.
    std::string const expected_sid = param->cmd == cmd_configure ? value.substr(0, 2) : "";
    port->tran->flush();
    ByteList frame;
    if (char const* const refusal = pdu::get_write_cmd(frame, param, value)) {
        param->Log(lmtError, refusal);
    }
    Exchange exchange(*port, *param);
    if (frame.empty() || !send(*param, exchange, frame, "write : запрос : %s")) {
        xCommon::LogExchange::fail();
        return;
    }
    int const size = pdu::head_size + config_->crc_size + end_size;
    auto const reply = exchange.head(size);
    trace_text(*param, "write : ответ : %s", reply);
    if (std::ssize(reply) < size) {
        param->Log(lmtError, "операция НЕ выполнена : timeout.");
        return;
    }
    if (is_head(*param, reply, expected_sid) && check_crc(param, reply, pdu::head_size)) {
        param->Log(lmtInfo, "операция успешно выполнена.");
    }
}

/// False behind a line when nothing went out: on a line that is gone, and for a frame that an overlay left empty.
bool dev::send(c_param const& param, Exchange& exchange, ByteList const& frame, char const* trace) {
    exchange.load(frame);
    trace_text(param, trace, exchange.held(exchange.request_size()));
    if (exchange.send() < 1) {
        param.Log(lmtError, "не удалось отправить запрос : write != size.");
        return false;
    }
    return true;
}

/// False behind the line of a fault.
bool dev::is_head(c_param const& param, std::span<unsigned char const> head, std::string const& expected_sid) {
    Fault const found = pdu::check_head(&param, head, expected_sid);
    if (found != Fault::none) {
        param.Log(lmtError, fault_texts.at(static_cast<size_t>(found)));
    }
    return found == Fault::none;
}

}  // namespace dcon
