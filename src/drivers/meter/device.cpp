#include "drivers/meter/device.h"

#include "drivers/meter/data_reply.h"

namespace meter {

using xCommon::HeadFault;
using xCommon::lmtError;

namespace {

constexpr DriverWords words = {"счётчиком", "этого счётчика"};

}  // namespace

device::device(IBase* port_object, CBase* node, Family const& family)
    : TypedDevice(port_object, node, words, family.walk), family_(family) {}

bool device::Start() {
    try {
        opened = false;
        return open_session();
    } catch (std::exception const& e) {
        cfg->Logf(lmtError, xCommon::RuntimeFormat(family_.start_exception), e.what());
        return false;
    }
}

void device::Stop() {
    try {
        opened = false;
        close_session();
    } catch (std::exception const& e) {
        cfg->Logf(lmtError, xCommon::RuntimeFormat(family_.stop_exception), e.what());
    }
}

void device::Poll(long long now) {
    port->check_for_personal_rs(this);
    begin_pass();
    if (walk(now) && family_.walk.counts_for_device) {
        CheckFault();
    }
}

bool device::ready(long long now) {
    need_line();
    return !port->line_ready || ready_link(now);
}

bool device::poll_param(CParam* param) {
    if (own(param) == nullptr) {
        return false;
    }
    try {
        BaseResult result = read(*param);
        port->publish_result(result, this, param);
        return result.is_ok;
    } catch (std::exception const& e) {
        // A value that can't be decoded is an error without an "r": the meter has answered.
        cfg->Logf(lmtError, xCommon::RuntimeFormat(family_.param_exception), e.what());
        return false;
    }
}

std::span<unsigned char const> device::link_dialogue(xCommon::ByteList const& frame, LinkStep const& step) {
    line();  // a stopped port has none
    std::string const request = std::string(step.trace) + " : запрос";
    std::string const answer = std::string(step.trace) + " : ответ";
    Exchange::Texts const texts = {
        .request = request.c_str(),
        .head = answer.c_str(),
        .head_faults = {nullptr, "%s : ответ не получен.", "%s : не совпали SlaveId.", family_.refusal},
        .wrong_crc = "%s : не совпали CRC."};
    Exchange exchange(*port, *cfg, texts);
    exchange.send(frame);
    // Nothing to look out for in one of a known size: a five-byte reply may well begin with four that look whole.
    if (step.least == step.most) {
        exchange.head(step.most);
    } else {
        exchange.whole(step.most, is_short_reply);
    }
    auto const reply = exchange.answer();
    HeadFault found = xCommon::head_fault(reply, slave_address(), static_cast<size_t>(step.least));
    bool const is_refused = found == HeadFault::refused;
    if (is_refused && !family_.has_refusals) {
        found = HeadFault::none;
    }
    if (!exchange.is_good(found, is_refused ? error_text(error_code(slave_address(), reply)) : step.line) ||
        !exchange.has_crc(step.least, step.line)) {
        return {};
    }
    return reply;
}

void device::send_request(CParam const& param, Exchange& exchange, xCommon::ByteList const& frame) {
    line();
    exchange.prepare(param);
    exchange.send(frame);
}

iTran& device::line() {
    if (!port->tran) {
        throw xCommon::xException("порт остановлен");
    }
    return *port->tran;
}

}  // namespace meter
