#include "drivers/xdlms/dport.h"

#include <algorithm>

#include "config/constants.h"
#include "foundation/xexception.h"

namespace xdlms {

using xCommon::ByteList;
using xCommon::lmtError;
using xCommon::lmtIgnored;
using xCommon::lmtInfo;
using xCommon::xString;

namespace {

constexpr WalkRules rules = {"ошибка опроса : %s."};

constexpr char command_topic[] = "ostrand";

}  // namespace

dmeter::dmeter(dport* port_object, cddev* meter_node)
    : DevBase(port_object, meter_node, rules), node(meter_node), dport_(port_object) {}

/// A meter that was blocked at the start is polled all the same: only its flag is cleared, and its polls show in the
/// log what is wrong.
bool dmeter::pass(long long now) {
    fault = node->fault;
    begin_pass();
    return walk(now);
}

bool dmeter::goes_on() {
    dport_->CheckMessage(nullptr);
    return dport_->is_connected();
}

bool dmeter::is_polled(CParam const& param) const {
    return dynamic_cast<dparam const*>(&param) != nullptr;
}

bool dmeter::is_wanted(CParam& param, long long now) {
    return is_polled(param) && DevBase::is_wanted(param, now);
}

bool dmeter::ask(CParam& param) {
    return dport_->poll_param(node, dynamic_cast<dparam*>(&param));
}

void dmeter::publish_failure(CParam& param) {
    dport_->publish_failure(*node, param);
}

void dmeter::count_poll() {
    ++dport_->polls;
    ++node->polls;
}

void dmeter::count_error() {
    ++dport_->errors;
    ++node->errors;
}

dport::dport(IBase* parent_object, CPort* node) : PortBase(parent_object, node), node_(dynamic_cast<cdport*>(node)) {
    if (node_ == nullptr) {
        throw xCommon::xException("dport.ctor : не указан 'cport'.");
    }
    for (auto const& child : node_->children) {
        if (auto* const meter = dynamic_cast<cddev*>(child.get())) {
            meters_.push_back(std::make_unique<dmeter>(this, meter));
        } else {
            child->Log(lmtError, "устройство не является устройством DLMS : пропущено.");
        }
    }
    if (meters_.empty()) {
        throw xCommon::xExceptionf("#%s : dport.ctor : список устройств пуст.", node_->name);
    }
}

bool dport::Start() {
    if (!reconnect()) {
        return false;
    }
    poll_devices();
    return PortBase::Start();
}

/// While a line is away the messages wait; the worker's look into the queue behind each pass serves subscriptions then.
void dport::Poll(long long now) {
    if (!is_connected()) {
        return;
    }
    if (!reconnect()) {
        line_is_away(now);
        return;
    }
    long long const polls_before = polls;
    for (auto const& meter : meters_) {
        meter->presence.begin_pass();
        if (!meter->pass(now)) {
            return;
        }
        bool const was_polled = meter->node->polls > 0;
        CheckFault(meter->node);
        if (was_polled && meter->node->fault) {
            meter->presence.failed();
        }
        meter->presence.end_pass();
    }
    if (polls != polls_before) {
        show_stat();
    }
}

void dport::each_device(std::function<void(DevBase&)> const& step) {
    for (auto const& meter : meters_) {
        step(*meter);
    }
}

void dport::publish_failure(cddev const& dev, CParam const& param) {
    param.Log(lmtError, "ответ НЕ получен.");
    mq_publish(xString::Format(topic_meta, dev.name, param.name, topic_meta_error), "r", 0, false);
}

dlms_reply dport::told(dlms_reply reply) {
    for (std::string const& fault : reply.faults) {
        xCommon::global_log(lmtError, fault);
    }
    return reply;
}

dlms_reply dport::ask(cddev& dev, dparam* param, ByteList const& data) {
    ByteList request;
    wpdu::wrap(request, node_->dlms_addr, dev.dlms_addr, data);
    return get_response(request, &dev, param);
}

bool dport::poll_param(cddev* dev, dparam* param) {
    if (dev == nullptr || param == nullptr) {
        return false;
    }
    ByteList data;
    pdu::get(data, param->address);
    dlms_reply const reply = ask(*dev, param, data);
    bool good = reply.ok && !reply.value.empty();
    if (good && !param->check_value(reply.value)) {
        ++out_of_range;
        good = false;
    }
    if (good) {
        std::string const text = param->format(reply.value);
        param->Logf(lmtInfo, "ответ получен : %s.", text);
        mq_publish(xString::Format(topic_value, dev->name, param->name), text, 2, true);
    } else {
        publish_failure(*dev, *param);
    }
    return good;
}

void dport::write(cddev* dev, dparam* param, std::string const& value) {
    if (dev == nullptr || param == nullptr || value.empty()) {
        return;
    }
    xCommon::LogExchange const exchange;
    try {
        ByteList item;
        param->set_data(item, value);
        ByteList data;
        pdu::set(data, param->address, item);
        if (ask(*dev, param, data).ok) {
            poll_param(dev, param);
        } else {
            param->Log(lmtError, "ошибка при записи значения.");
        }
    } catch (std::exception const& e) {
        param->Logf(lmtError, "исключение при записи значения : %s.", e.what());
    }
}

bool dport::reconnect() {
    if (!tran) {
        make_transport();
    }
    return tran->reopen();
}

void dport::CheckFault(cddev* dev) {
    if (dev->polls == 0) {
        return;
    }
    if (dev->errors < dev->polls) {
        dev->fault = false;
    } else {
        if (!dev->fault) {
            mq_publish(topic_fault, dev->name, 2, false);
        }
        dev->fault = true;
    }
    dev->polls = 0;
    dev->errors = 0;
}

void dport::ProcConnect() {
    std::vector<xMQ::subsItem> items{{command_topic, 2}};
    for (auto const& meter : meters_) {
        for (auto const& child : meter->node->children) {
            auto const* const param = dynamic_cast<dparam const*>(child.get());
            if (param != nullptr && !param->read_only) {
                items.push_back({xString::Format(topic_on, meter->node->name, param->name), 2});
            }
        }
    }
    mq_subscribe(items);
}

bool dport::ProcMessage(std::string& topic, std::string& payload) {
    node_->Logf(lmtInfo, "ProcMessage : %s = %s.", topic, payload);
    if (payload.empty()) {
        node_->Log(lmtIgnored, "ProcMessage : пустые сообщения не обрабатываются.");
        return true;
    }
    if (topic == command_topic) {
        proc_command(payload);
        return true;
    }
    if (!xString::EndsWith(topic, topic_on_suffix)) {
        node_->Log(lmtIgnored, "ProcMessage : топик не заканчивается на '/on'.");
        return true;
    }
    try {
        auto* const dev = dynamic_cast<cddev*>(node_->get_device(topic));
        if (dev == nullptr) {
            node_->Log(lmtIgnored, "ProcMessage : устройство не найдено.");
        } else if (dparam* const param = dev->find_param(topic)) {
            write(dev, param, payload);
        } else {
            node_->Log(lmtIgnored, "ProcMessage : параметр не найден.");
        }
    } catch (std::exception const& e) {
        node_->Logf(lmtError, "ProcMessage : исключение при обработке : %s.", e.what());
    }
    return true;
}

void dport::proc_command(std::string const& payload) {
    node_->Logf(lmtInfo, "proc_command : обработка команды = %s.", payload);
    // In lower case as a whole, so a serial number with capital letters is never found.
    std::vector<std::string> const pieces = xString::Split(xString::ToLower(payload), ";");
    if (pieces.empty()) {
        node_->Log(lmtError, "proc_command : нарушен формат команды (1).");
    } else if (pieces[0] != "cmd") {
        node_->Log(lmtError, "proc_command : нарушен формат команды (2).");
    } else if (pieces.size() == 1) {
        node_->Log(lmtError, "proc_command : нарушен формат команды (3).");
    } else if (pieces[1] != "er") {
        node_->Log(lmtError, "proc_command : неизвестная команда.");
    } else {
        proc_command_er(pieces);
    }
}

void dport::proc_command_er(std::vector<std::string> const& pieces) {
    if (pieces.size() < 3 || pieces[2].empty()) {
        node_->Log(lmtError, "proc_command : ER : не указан серийный номер устройства.");
        return;
    }
    auto const found =
        std::find_if(meters_.begin(), meters_.end(), [&](auto const& meter) { return meter->node->sn == pieces[2]; });
    if (found == meters_.end()) {
        node_->Log(lmtError, "proc_command : ER : не найдено устройство с указаным серийным номером.");
        return;
    }
    cddev& dev = *(*found)->node;
    xCommon::LogExchange const exchange;
    try {
        ByteList data;
        pdu::action(data, cad(9, "0.0.10.0.0.255", 1));
        if (ask(dev, nullptr, data).ok) {
            dev.Log(lmtInfo, "proc_command : ER : команда исполнена.");
        } else {
            dev.Log(lmtError, "proc_command : ER : ошибка при выполнении команды.");
        }
    } catch (std::exception const& e) {
        dev.Logf(lmtError, "proc_command : ER : исключение при выполнении команды : %s.", e.what());
    }
}

}  // namespace xdlms
