// The broker side of a port: the way of a message to a device, and the publication of results.

#include <cstdlib>
#include <set>
#include <utility>

#include "config/config.h"
#include "config/constants.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"
#include "runtime/port_base.h"

using xCommon::global_logf;
using xCommon::lmtError;
using xCommon::lmtInfo;
using xCommon::lmtTrace;
using xCommon::svMessage;
using xCommon::xException;
using xCommon::xString;

namespace {

constexpr std::chrono::seconds longest_age_pause(60);

}  // namespace

void PortBase::CheckMessage(DevBase* dev) {
    if (dev != nullptr) {
        serve_queue(dev);
    }
}

void PortBase::serve_queue(DevBase* dev) {
    bool const was_open = tran && tran->is_open();
    bool message_handled = false;
    for (;;) {
        if (tran && tran->is_away()) {
            serve_connections();
            break;
        }
        std::unique_ptr<svMessage> const entry = mq_pop();
        if (!entry) {
            break;
        }
        if (entry->type == svMessage::connected) {
            proc_connected();
        } else if (entry->type == svMessage::message) {
            if (auto* message = xMQ::mqUtils::mqCast(entry.get(), "noname")) {
                cport->Logf(lmtInfo, "обработка сообщения : %s = %s.", message->topic, message->payload);
                ProcMessage(message->topic, message->payload);
                message_handled = true;
            }
        }
    }
    if (message_handled && dev != nullptr) {
        // A write to another device may have left the line with that one's settings, or closed.
        check_for_personal_rs(dev);
        if (was_open && !tran->is_open()) {
            tran->reopen();
        }
    }
}

void PortBase::serve_connections() {
    if (queue && queue->TakeConnected()) {
        proc_connected();
    }
}

void PortBase::proc_connected() {
    cport->Log(lmtInfo, "MQTT соединение установлено.");
    // A broker without persistence has forgotten them.
    told_line_.reset();
    tell_line();
    each_device([](DevBase& device) { device.presence.tell_again(); });
    ProcConnect();
}

void PortBase::ProcConnect() {
    if (cport->type_has("z2t")) {
        std::vector<xMQ::subsItem> items;
        for (std::string const& format : {topic_z2t_sensor, topic_z2t_result}) {
            items.push_back({xString::Format(format, cport->z2t_id), 2});
            cport->Logf(lmtTrace, "subscribe on : %s", items.back().topic);
        }
        if (!mq_subscribe(items)) {
            // What the devices subscribe hasn't been reached.
            connect_owed_ = is_connected();
            throw xException("Ошибка подписки на топики z2t-протокола");
        }
    }
    for (auto const& device : devices) {
        try {
            device->ProcConnect();
        } catch (std::exception const& e) {
            cport->Logf(lmtError, "исключение при обработке подключения # %s : %s.", device->cfg->name, e.what());
        }
    }
}

bool PortBase::ProcMessage(std::string& topic, std::string& payload) {
    if (check_z2t_message(topic, payload)) {
        return true;
    }
    for (auto const& device : devices) {
        // A search for a part: the first device whose name lies in the topic is asked, so "m1" in front of "m10" sees
        // the latter's messages and has to decline them.
        std::string const name = device->get_device_name();
        if (topic.find(name) == std::string::npos) {
            continue;
        }
        try {
            global_logf(lmtTrace, "Topic = %s : dev_name = %s", topic, name);
            device->cfg->Log(lmtTrace, "check_for_personal_rs");
            check_for_personal_rs(device.get());
            if (!line_ready) {
                throw xException("персональные настройки линии недоступны");
            }
            // In place, also for a device that declines the message behind it: with devices "m_1" and "m_10" that have
            // a parameter of the same name, a write to the second has its scale undone twice. Names that are part of
            // another's are to be avoided in a configuration.
            xCommon::LogExchange const exchange;
            scale_command(device.get(), topic, payload);
            if (device->ProcMessage(topic, payload)) {
                return true;
            }
        } catch (std::exception const& e) {
            cport->Logf(lmtError, "исключение при обработке сообщения # %s : %s.", device->cfg->name, e.what());
        }
    }
    return true;
}

bool PortBase::check_z2t_message(std::string const& topic, std::string const& payload) {
    if (cport->type != "base.z2t") {
        return false;
    }
    Json::Value root;
    if (!xCommon::jUtils::Parse(payload, root)) {
        return false;
    }
    if (!root.isObject()) {
        offer([&](DevBase& device) {
            std::string topic_copy = topic;
            std::string payload_copy = payload;
            return device.ProcMessage(topic_copy, payload_copy);
        });
        return true;
    }
    for (std::string const& key : root.getMemberNames()) {
        offer([&](DevBase& device) { return device.ProcMessage(topic, key, root[key]); });
    }
    return true;
}

/// Offers something to each device in turn until one takes it. What a device raises ends the message, and the sweep in
/// which it is served.
void PortBase::offer(std::function<bool(DevBase&)> const& message) {
    xCommon::LogExchange const exchange;
    for (auto const& device : devices) {
        if (message(*device)) {
            return;
        }
    }
}

void PortBase::scale_command(DevBase* dev, std::string const& topic, std::string& value) {
    CParam* param = dev->get_param(dev, topic);
    if (param == nullptr || !param->has_scale) {
        return;
    }
    param->Logf(lmtTrace, "param : enter scale_command : %s.", value);
    auto const number = static_cast<float>(std::strtod(value.c_str(), nullptr));
    value = xString::Format("%f", number / param->scale);
    param->Logf(lmtTrace, "param : exit scale_command : %s.", value);
}

void PortBase::correction_command(DevBase* dev, std::string const& topic, std::string& value) {
    CParam* param = dev->get_param(dev, topic);
    if (param == nullptr || !param->has_correction) {
        return;
    }
    param->Logf(lmtTrace, "param : enter correction_command : %s.", value);
    value = xString::Format("%f", std::stof(value) + static_cast<float>(param->correction));
    param->Logf(lmtTrace, "param : exit correction_command : %s.", value);
}

void PortBase::publish_result(BaseResult& result, DevBase* dev, CParam* param) {
    bool good = result.is_ok && !result.result.empty();
    if (good && !param->check_value(result.result)) {
        ++out_of_range;
        good = false;
    }
    std::string const device_name = dev->get_device_name();
    if (good) {
        std::string const text = param->format(result.result);
        param->Logf(lmtInfo, "ответ получен : %s", text);
        mq_publish(xString::Format(topic_value, device_name, param->name), text, 2, true);
    } else {
        param->Log(lmtError, "ответ НЕ получен");
        mq_publish(xString::Format(topic_meta, device_name, param->name, topic_meta_error), "r", 0, false);
    }
}

void PortBase::show_stat() {
    long long const percent = polls == 0 ? 0 : errors * 100 / polls;
    auto const rate = static_cast<float>(percent);
    std::string const line =
        xString::Format("Статистика %s : опросов = %lld : ошибок = %lld [ %0.2f ] : вне диапазона = %lld.", cport->name,
                        polls, errors, rate, out_of_range);
    if (xCommon::xLog::gv == nullptr || !xCommon::xLog::gv->is_quiet()) {
        cport->Log(lmtInfo, line);
    }
    mq_publish(xString::Format(topic_statistics, cport->name), line, 0, false);
    show_age();
}

void PortBase::show_age() {
    if (cport->cfg == nullptr || !cport->cfg->broker.age) {
        return;
    }
    last_age_ = xCommon::xtime::steady();
    Json::Value ages(Json::objectValue);
    std::set<CBase const*> missing;  // what couldn't be made or started
    for (auto const& child : cport->children) {
        if (child->enabled) {
            missing.insert(child.get());
        }
    }
    each_device([&](DevBase& device) {
        missing.erase(device.cfg);
        if (device.cfg->enabled) {
            std::optional<long long> const age = device.presence.age();
            ages[device.get_device_name()] = age ? Json::Value(static_cast<Json::Int64>(*age)) : Json::Value();
        }
    });
    for (CBase const* const node : missing) {
        ages[node->name] = Json::Value();
    }
    mq_publish(xString::Format(topic_age, cport->name), xCommon::jUtils::Compact(ages), 0, false);
}

void PortBase::tell_age_in_time() {
    if (xCommon::xtime::steady() - last_age_ >= longest_age_pause) {
        show_age();
    }
}

void PortBase::tell_line() {
    std::optional<bool> const is_open = tran ? tran->seen_open() : std::nullopt;
    if (!is_open || is_open == told_line_ || cport->cfg == nullptr) {
        return;
    }
    std::string const topic = cport->cfg->broker.line_topic(cport->name);
    if (topic.empty() || mq_publish(topic, *is_open ? "open" : "closed", 1, true)) {
        told_line_ = is_open;
    }
}
