#include "drivers/meter/device.h"

#include "config/process.h"
#include "drivers/meter/frame.h"
#include "foundation/xexception.h"
#include "runtime/exchange.h"

namespace meter {

using xCommon::lmtError;
using xCommon::xString;

device::device(IBase* port_object, CBase* node, Family const& family)
    : DevBase(port_object, node, family.walk), config_(dynamic_cast<c_dev*>(node)), family_(family) {
    if (config_ == nullptr) {
        throw xCommon::xExceptionf("#%s : ctor : узел не является счётчиком.", cfg->name);
    }
}

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

bool device::is_wanted(CParam& param, long long now) {
    if (!DevBase::is_wanted(param, now)) {
        return false;
    }
    if (is_own(param)) {
        return true;
    }
    param.last_poll = now;
    param.Log(lmtError, "параметр не является параметром этого счётчика : опрос пропущен.");
    return false;
}

bool device::ready(long long now) {
    need_line();
    return !port->line_ready || ready_link(now);
}

bool device::poll_param(CParam* param) {
    if (param == nullptr || !is_own(*param)) {
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
    std::string const head = step.trace;
    int const length = exchange::load(*port, frame, (head + " : запрос").c_str());
    exchange::send(*port, length);
    int got = 0;
    std::string const label = head + " : ответ";
    if (step.least == step.most) {
        // Nothing to look out for: a five-byte reply may well begin with four that look whole.
        got = exchange::receive(*port, 0, step.most, label.c_str());
    } else {
        got = exchange::receive_frame(*port, step.most, is_short_reply);
        trace_hex(*port->cport, port->buffer, got, label);
    }
    if (got < step.least) {
        cfg->Logf(lmtError, "%s : ответ не получен.", step.line);
        return {};
    }
    std::span<unsigned char const> const reply(port->buffer, static_cast<size_t>(got));
    if (reply.front() != slave_address()) {
        cfg->Logf(lmtError, "%s : не совпали SlaveId.", step.line);
        return {};
    }
    if (is_refused(reply)) {
        return {};
    }
    if (!crc_fits(reply)) {
        cfg->Logf(lmtError, "%s : не совпали CRC.", step.line);
        return {};
    }
    return reply;
}

void device::send_request(CParam const& param, xCommon::ByteList const& frame, char const* label) {
    line().flush();
    line().set_timeout(param.rto, param.sto);
    int const length = exchange::load(*port, frame, label);
    exchange::send(*port, length);
}

iTran& device::line() {
    if (!port->tran) {
        throw xCommon::xException("порт остановлен");
    }
    return *port->tran;
}

}  // namespace meter
