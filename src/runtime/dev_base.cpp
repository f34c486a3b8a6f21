#include "runtime/dev_base.h"

#include <algorithm>

#include "config/constants.h"
#include "config/cport.h"
#include "foundation/xexception.h"
#include "runtime/port_base.h"

using xCommon::lmtError;
using xCommon::lmtTrace;
using xCommon::xException;
using xCommon::xExceptionf;
using xCommon::xString;

DevBase::DevBase(IBase* port_object, CBase* node, WalkRules const& rules)
    : IBase(port_object, node), port(dynamic_cast<PortBase*>(port_object)), rules_(rules) {
    if (cfg == nullptr) {
        throw xException("DevBase::ctor : не указан 'cbase'.");
    }
    if (port == nullptr) {
        throw xExceptionf("DevBase::ctor : %s : не указан 'port'.", cfg->name);
    }
    if (cfg->children.empty() && !port->cport->type_has("z2t")) {
        throw xExceptionf("DevBase::ctor : %s : список параметров пуст.", cfg->name);
    }
    for (auto const& child : cfg->children) {
        if (auto* const param = dynamic_cast<CParam*>(child.get())) {
            params_.push_back(param);
        }
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
        walk(now);
    }
    if (cfg->poll_reconnect && port->tran && port->tran->is_open()) {
        port->release_line();
    }
    CheckFault();
}

bool DevBase::walk(long long now) {
    for (CParam* const param : params_) {
        if (!goes_on()) {
            return false;
        }
        if (!is_wanted(*param, now) || fail_silently(*param, now)) {
            continue;
        }
        xCommon::LogExchange const exchange;
        if (!ready(now)) {
            presence.unreachable();
            return false;
        }
        param->last_poll = now;
        poll_counted(*param);
    }
    return true;
}

void DevBase::poll_counted(CParam& param) {
    count_poll();
    bool ok = false;
    try {
        ok = ask(param);
    } catch (std::exception const& e) {
        param.Logf(lmtError, xCommon::RuntimeFormat(rules_.exception_line), e.what());
        if (rules_.blame != WalkRules::Blame::all) {
            // An exception is no sign that the device is away.
            if (rules_.blame == WalkRules::Blame::port) {
                blame_port();
            }
            presence.polled(false);
            return;
        }
    }
    if (!ok) {
        count_error();
    }
    presence.polled(ok);
    polled(ok);
}

bool DevBase::goes_on() {
    port->CheckMessage(this);
    return true;
}

bool DevBase::is_wanted(CParam& param, long long now) {
    return param.enabled && param.is_due(now);
}

bool DevBase::is_due(long long now) const {
    return cfg->all_params ? cfg->is_due(now)
                           : std::any_of(params_.begin(), params_.end(), [this, now](CParam const* param) {
                                 return param->enabled && is_polled(*param) && param->is_due(now);
                             });
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
    publish_failure(param);
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
            need_line(connects());
            poll_param(nullptr);
            return true;
        }
        for (CParam* const param : params_) {
            if (param->enabled && param->is_due(now)) {
                param->last_poll = now;
                count_poll();
                count_error();
                publish_failure(*param);
            }
        }
    } catch (std::exception const& e) {
        xCommon::global_logf(lmtError, "Multi-poll : исключение при опросе параметров : %s", e.what());
        count_error();
        presence.polled(false);
    }
    return true;
}

bool DevBase::ask(CParam& param) {
    need_line(connects());
    if (port->line_ready) {
        return poll_param(&param);
    }
    // An answer could only come from somebody else, so none is asked for.
    publish_failure(param);
    return false;
}

void DevBase::publish_failure(CParam& param) {
    BaseResult failed;
    port->publish_result(failed, this, &param);
}

void DevBase::need_line(bool connects) {
    if (port->line_ready) {
        port->open_line(connects);
    }
}

void DevBase::count_poll() {
    ++port->polls;
    polls += rules_.counts_for_device ? 1 : 0;
}

void DevBase::count_error() {
    xCommon::LogExchange::fail();
    ++port->errors;
    errors += rules_.counts_for_device ? 1 : 0;
}

void DevBase::blame_port() {
    ++port->errors;
}

void DevBase::count(long long asked, long long failed, bool was_asked) {
    polls += asked;
    port->polls += asked;
    errors += failed;
    port->errors += failed;
    presence.polled(was_asked && failed < asked);
    polled(failed < asked);
}

std::string DevBase::on_topic(std::string const& control) {
    return xString::Format(topic_on, get_device_name(), control);
}

void DevBase::add_commands(CommandMap& commands, CParam& param) {
    if (!param.read_only) {
        commands.add(on_topic(param.name), {&param});
    }
}

void DevBase::subscribe_commands(char const* trace) {
    commands_ = {};
    for (CParam* const param : params_) {
        size_t const told = commands_.items().size();
        add_commands(commands_, *param);
        for (size_t index = told; index < commands_.items().size(); ++index) {
            cfg->Logf(lmtTrace, xCommon::RuntimeFormat(trace), commands_.items()[index].topic);
        }
    }
    port->mq_subscribe(commands_.items());
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
        presence.failed();
    }
    polls = 0;
    errors = 0;
}
