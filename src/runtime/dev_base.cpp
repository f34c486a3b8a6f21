#include "runtime/dev_base.h"

#include "config/constants.h"
#include "config/cport.h"
#include "foundation/xexception.h"
#include "runtime/port_base.h"

using xCommon::lmtError;
using xCommon::xException;
using xCommon::xExceptionf;
using xCommon::xString;

DevBase::DevBase(IBase* port_object, CBase* node)
    : IBase(port_object, node), port(dynamic_cast<PortBase*>(port_object)) {
    if (cfg == nullptr) {
        throw xException("DevBase::ctor : не указан 'cbase'.");
    }
    if (port == nullptr) {
        throw xExceptionf("DevBase::ctor : %s : не указан 'port'.", cfg->name);
    }
    if (cfg->children.empty() && !port->cport->type_has("z2t")) {
        throw xExceptionf("DevBase::ctor : %s : список параметров пуст.", cfg->name);
    }
}

void DevBase::Poll(long long now) {
    port->check_for_personal_rs(this);
    begin_pass();
    if (cfg->all_params) {
        if (!poll_whole(now)) {
            return;
        }
    } else if (cfg->children.empty()) {
        port->CheckMessage(this);  // a bridge alone on its port lives by messages
    } else {
        for (auto const& child : cfg->children) {
            // Between any two parameters, so that a write doesn't wait for the end of a long cycle.
            port->CheckMessage(this);
            auto* param = dynamic_cast<CParam*>(child.get());
            if (param != nullptr && param->enabled && param->is_due(now) && !fail_silently(*param, now)) {
                poll_one(*param, now);
            }
        }
    }
    if (cfg->poll_reconnect && port->tran && port->tran->is_open()) {
        port->tran->close();
        port->line_released = true;
    }
    CheckFault();
}

void DevBase::poll_one(CParam& param, long long now) {
    xCommon::LogExchange const exchange;
    param.last_poll = now;
    count_poll();
    bool ok = false;
    try {
        need_line(cfg->poll_reconnect);
        ok = poll_or_fail(param);
    } catch (std::exception const& e) {
        param.Logf(lmtError, "Poll : исключение при опросе параметра : %s", e.what());
    }
    if (!ok) {
        count_error();
    }
    polled(ok);
}

void DevBase::begin_pass() {
    probe_ = fault && cfg->silent_probe ? Probe::wanted : Probe::none;
}

void DevBase::begin_poll() {
    // A command to another device may have been answered since the last poll.
    if (port->tran) {
        port->tran->heard = false;
    }
}

void DevBase::polled(bool ok) {
    if (probe_ == Probe::wanted) {
        // A refusal is an answer: the other parameters may do better.
        bool const is_there = ok || (port->tran && port->tran->heard);
        probe_ = is_there ? Probe::none : Probe::silent;
    }
}

bool DevBase::fail_silently(CParam& param, long long now) {
    if (!is_silent()) {
        begin_poll();
        return false;
    }
    param.last_poll = now;
    count_poll();
    count_error();
    BaseResult failed;
    port->publish_result(failed, this, &param);
    return true;
}

/// False when the device isn't due.
bool DevBase::poll_whole(long long now) {
    port->CheckMessage(this);
    if (!cfg->is_due(now)) {
        return false;
    }
    cfg->last_poll = now;
    try {
        if (port->line_ready) {
            need_line(cfg->poll_reconnect);
            poll_param(nullptr);
            return true;
        }
        for (auto const& child : cfg->children) {
            auto* param = dynamic_cast<CParam*>(child.get());
            if (param != nullptr && param->enabled && param->is_due(now)) {
                param->last_poll = now;
                count_poll();
                count_error();
                poll_or_fail(*param);
            }
        }
    } catch (std::exception const& e) {
        xCommon::global_logf(lmtError, "Multi-poll : исключение при опросе параметров : %s", e.what());
        count_error();
    }
    return true;
}

bool DevBase::poll_or_fail(CParam& param) {
    if (port->line_ready) {
        return poll_param(&param);
    }
    // An answer could only come from somebody else, so none is asked for.
    BaseResult failed;
    port->publish_result(failed, this, &param);
    return false;
}

void DevBase::need_line(bool connects) {
    if (port->line_ready) {
        port->open_line(connects);
    }
}

void DevBase::count_poll() {
    ++port->polls;
    ++polls;
}

void DevBase::count_error() {
    xCommon::LogExchange::fail();
    ++port->errors;
    ++errors;
}

CParam* DevBase::get_param(DevBase* dev, std::string const& topic) {
    if (dev == nullptr || !xString::EndsWith(topic, "on")) {
        return nullptr;
    }
    std::vector<std::string> const pieces = xString::Split(topic, "/");
    if (pieces.size() != 5) {
        return nullptr;
    }
    for (auto const& child : dev->cfg->children) {
        if (child->name == pieces[3]) {
            return dynamic_cast<CParam*>(child.get());
        }
    }
    return nullptr;
}

void DevBase::CheckFault() {
    if (polls <= 0) {
        return;
    }
    if (errors < polls) {
        fault = false;
    } else if (errors == polls) {
        if (!fault) {
            auto const* dev = dynamic_cast<CDev const*>(cfg);
            bool const has_display_name = dev != nullptr && !dev->display_name.empty();
            port->mq_publish(topic_fault, has_display_name ? dev->display_name : get_device_name(), 2, false);
        }
        fault = true;
    }
    polls = 0;
    errors = 0;
}
