#include "runtime/port_base.h"

#include <algorithm>
#include <utility>

#include "config/constants.h"
#include "foundation/deadline.h"
#include "foundation/xexception.h"
#include "foundation/xmisc.h"
#include "foundation/xsignal.h"
#include "runtime/port_host.h"

using xCommon::lmtError;
using xCommon::lmtTrace;
using xCommon::xException;
using xCommon::xExceptionf;

namespace {

IBFac const registrars[] = {IBFac::add<PortBase>("base.port"), IBFac::add<PortBase>("base.rs.port"),
                            IBFac::add<PortBase>("base.tcp.port"), IBFac::add<PortBase>("base.z2t.port"),
                            IBFac::add<PortBase>("base.null.port")};

/// A port of this name stays closed between passes: its driver connects around each sweep.
constexpr char self_connecting_port[] = "pulsar";

constexpr long long absence_line_s = 60;

CPort& checked(CPort* node) {
    if (node == nullptr) {
        throw xException("PBase::ctor : не указан аргумент 'cport'.");
    }
    return *node;
}

}  // namespace

PortBase::PortBase(IBase* parent_object, CPort* node)
    : PortBase(parent_object, node, dynamic_cast<PortHost*>(parent_object)) {}

PortBase::PortBase(IBase* parent_object, CPort* node, PortHost* host)
    : IBase(parent_object, node),
      PortLine(checked(node), host),
      PortClient(*node, host),
      cport(node),
      is_hosted_(host != nullptr),
      last_age_(xCommon::xtime::steady()) {
    if (cport->cfg == nullptr) {
        throw xException("PBase::ctor : не указан аргумент 'cport.cfg'.");
    }
    make_transport();
    is_base = cport->type_has("base");
    if (is_base) {
        make_devices();
    }
}

PortBase::~PortBase() {
    end();
}

void PortBase::end() {
    try {
        PortBase::Stop();
    } catch (std::exception const& e) {
        cport->Logf(lmtError, "ошибка при остановке порта : %s", e.what());
    }
}

void PortBase::make_devices() {
    for (auto const& child : cport->children) {
        if (!child->enabled) {
            continue;
        }
        std::unique_ptr<IBase> object;
        auto const creator = IBFac::stone_map().find(child->type + suffix_dev);
        if (creator != IBFac::stone_map().end()) {
            try {
                object = creator->second(this, child.get());
            } catch (std::exception const& e) {
                cport->Logf(lmtError, "#%s : исключение при создании устройства : %s", child->name, e.what());
                continue;
            }
        }
        if (auto* device = dynamic_cast<DevBase*>(object.get())) {
            static_cast<void>(object.release());
            devices.emplace_back(device);
        } else {
            cport->Logf(lmtError, "#%s : тип устройства (%s) не найден. Пропущено.", child->name, child->type);
        }
    }
    if (devices.empty()) {
        throw xExceptionf("PortBase::ctor : %s : список устройств пуст.", cport->name);
    }
}

bool PortBase::Start() {
    try {
        th_stop();  // a second start
        if (!tran) {
            make_transport();  // Stop() has taken it away
        }
        if (is_base) {
            if (!tran->open()) {
                return false;
            }
            start_devices();
        }
        mq_start();
        th_start();
        return true;
    } catch (std::exception const& e) {
        cport->Logf(lmtError, "ошибка при запуске : %s", e.what());
        return false;
    }
}

void PortBase::start_devices() {
    std::erase_if(devices, [this](auto const& device) {
        try {
            device->Start();
            return false;
        } catch (std::exception const& e) {
            cport->Logf(lmtError, ": %s : ошибка при запуске устройства : %s", device->cfg->name, e.what());
            return true;
        }
    });
    if (devices.empty()) {
        throw xExceptionf("#%s : порт не смог запустить ни одно устройство.", cport->name);
    }
}

void PortBase::th_start() {
    th_stop();
    if (is_hosted_) {
        return;
    }
    running = true;
    thread = std::make_unique<std::thread>(&PortBase::Worker, this);
}

void PortBase::th_stop() {
    running = false;
    if (thread) {
        if (queue) {
            queue->Wake();
        }
        cport->Log(lmtTrace, "ожидание завершения потока ...");
        thread->join();
        cport->Log(lmtTrace, "ожидание завершения потока ОК.");
        thread.reset();
    }
}

void PortBase::Stop() {
    // The worker uses all that goes from here on, and a device's Stop may be a dialogue on the worker's line, so it is
    // awaited first; it ends after the pass that it is in.
    th_stop();
    for (auto const& device : devices) {
        try {
            device->Stop();
        } catch (std::exception const& e) {
            cport->Logf(lmtError, ": %s : ошибка при остановке устройства : %s", device->cfg->name, e.what());
        }
    }
    if (tran) {
        tran->close();
        tran.reset();
    }
    mq_stop();
}

void PortBase::Worker() {
    xCommon::name_thread("poll", cport->name);
    xCommon::FaultStack const fault_stack;
    while (running) {
        try {
            rest();
            if (running) {
                pass();
            }
        } catch (std::exception const& e) {
            cport->Logf(lmtError, "Worker : исключение : %s.", e.what());
        }
    }
}

/// A message isn't kept waiting, but the rest has its whole length: passes keep their rhythm.
void PortBase::rest() {
    if (!queue) {
        xCommon::xMisc::delay(worker_delay);
        return;
    }
    xCommon::Deadline const end(worker_delay);
    while (running && !end.passed()) {
        if (queue->WaitPush(end.left_ms()) && running && is_connected() && !(tran && tran->is_away())) {
            serve_at_rest();
        }
    }
}

void PortBase::serve_at_rest() {
    bool const was_released = is_released();
    begin_sweep();
    DevBase* const first = devices.empty() ? nullptr : devices.front().get();
    try {
        CheckMessage(first);
    } catch (std::exception const& e) {
        CBase const& node = first == nullptr ? *cport : *first->cfg;
        node.Logf(lmtError, "исключение при опросе устройства : %s.", e.what());
        ++errors;
        queue->Wake();  // for what waits behind it
    }
    if (was_released && tran->is_open()) {
        release_line();
    }
}

void PortBase::pass() {
    long long const now = xCommon::xtime::time();
    if (mq == nullptr) {
        return;
    }
    bool report_absence = false;
    if (is_connected()) {
        mq->resubscribe();
        if (connect_owed_) {
            connect_owed_ = false;
            queue->Push(std::make_unique<xCommon::svMessage>(xCommon::svMessage::connected));
        }
        Poll(now);
        tell_line();
        tell_age_in_time();
        ProcTimer(now);
        CheckMessage(nullptr);
        if (!is_connected()) {
            long long const difference = now - mq->get_i64(mq->stamp);
            report_absence = difference >= 1 && difference % absence_line_s == 0;
        }
    } else {
        // Here the bare stamp is looked at, above a difference. Either way it only paces the line.
        long long const stamp = mq->get_i64(mq->stamp);
        report_absence = stamp >= 1 && stamp % absence_line_s == 0;
    }
    if (report_absence) {
        cport->Log(lmtError, "Worker : слишком долго нет соединения с MQTT.");
    }
}

void PortBase::Poll(long long now) {
    if (!cport->poll_reconnect && cport->name != self_connecting_port && tran && !tran->is_open()) {
        if (!tran->reopen() && !reopen_with_own_settings()) {
            serve_connections();
            line_is_away(now);
            return;
        }
    }
    if (cport->poll_reconnect && tran && tran->is_away() && queue && !queue->empty() && tran->open()) {
        // Nothing may be due for long, and what waits for the line shall not.
        tran->close();
    }
    long long const polls_before = polls;
    for (auto const& device : devices) {
        if (!device->cfg->enabled) {
            continue;
        }
        begin_sweep();
        poll_device(*device, now, *device->cfg);
    }
    if (polls != polls_before && !cport->type_has("z2t")) {
        show_stat();
    }
}

void PortBase::poll_device(DevBase& device, long long now, CBase const& node) {
    device.presence.begin_pass();
    try {
        device.Poll(now);
    } catch (std::exception const& e) {
        node.Logf(lmtError, "исключение при опросе устройства : %s.", e.what());
        ++errors;
    }
    device.presence.end_pass();
}

void PortBase::line_is_away(long long now) {
    each_device([now](DevBase& device) {
        if (device.cfg->enabled && device.is_due(now)) {
            device.presence.unreachable();
        }
    });
}

void PortBase::each_device(std::function<void(DevBase&)> const& step) {
    for (auto const& device : devices) {
        step(*device);
    }
}

DevBase* PortBase::get_device(std::string const& name) {
    auto const found =
        std::find_if(devices.begin(), devices.end(), [&name](auto const& device) { return device->cfg->name == name; });
    return found == devices.end() ? nullptr : found->get();
}
