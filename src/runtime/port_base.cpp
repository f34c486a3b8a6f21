#include "runtime/port_base.h"

#include <algorithm>
#include <utility>

#include "config/constants.h"
#include "foundation/deadline.h"
#include "foundation/xexception.h"
#include "foundation/xmisc.h"
#include "foundation/xsignal.h"
#include "transport/no_line_tran.h"
#include "transport/rs_tran.h"
#include "transport/tcp_tran.h"

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

}  // namespace

PortBase::PortBase(IBase* parent_object, CPort* node)
    : IBase(parent_object, node), cport(node), host_(dynamic_cast<PortHost*>(parent_object)) {
    if (cport == nullptr) {
        throw xException("PBase::ctor : не указан аргумент 'cport'.");
    }
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

void PortBase::make_transport() {
    if (host_ != nullptr) {
        tran = host_->make_line(*cport);
    } else if (cport->type_has("rs")) {
        tran = std::make_unique<rsTran>(cport);
    } else if (cport->type_has("tcp")) {
        tran = std::make_unique<tcpTran>(cport);
    } else if (cport->type_has("z2t")) {
        tran = std::make_unique<z2tTran>(cport);
    } else {
        tran = std::make_unique<nullTran>(cport);
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
    if (host_ != nullptr) {
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
    bool const was_released = line_released && tran && !tran->is_open();
    open_failed_ = false;
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
        tran->close();
        line_released = true;
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
        open_failed_ = false;
        try {
            device->Poll(now);
        } catch (std::exception const& e) {
            device->cfg->Logf(lmtError, "исключение при опросе устройства : %s.", e.what());
            ++errors;
        }
    }
    if (polls != polls_before && !cport->type_has("z2t")) {
        show_stat();
    }
}

/// The settings in force may be those of the device that was polled last, for a line that is away, and the other
/// devices must go on.
bool PortBase::reopen_with_own_settings() {
    auto* line = dynamic_cast<rsTran*>(tran.get());
    if (line == nullptr || cport->rs.compare(line->settings)) {
        return false;
    }
    line->settings = cport->rs;
    return line->open();
}

void PortBase::check_for_personal_rs(DevBase* dev) {
    line_ready = true;
    if (cport->type_has("tcp") || cport->type_has("z2t")) {
        return;
    }
    auto* line = dynamic_cast<rsTran*>(tran.get());
    auto const* node = dynamic_cast<CDev const*>(dev->cfg);
    if (line == nullptr || node == nullptr) {
        return;
    }
    if (!node->personal_rs) {
        if (!cport->rs.compare(line->settings)) {
            line->settings = cport->rs;
            line->close();
            line_ready = line->open();
        }
        return;
    }
    xserial::xco wanted = node->rs;
    if (wanted.path.empty()) {
        wanted.path = cport->rs.path;
    }
    if (wanted.compare(line->settings)) {
        xCommon::global_logf(lmtTrace, "check_for_personal_rs : персональные настройки [%s] совпадают с текущими.",
                             node->name);
        return;
    }
    xCommon::global_logf(lmtTrace, "check_for_personal_rs : установим персональные настройки [%s].", node->name);
    line->settings = wanted;
    line->close();
    line_ready = line->open();
    if (!line_ready) {
        node->Log(lmtError, "персональные настройки линии недоступны : возвращены настройки порта.");
        line->settings = cport->rs;
        line->open();
    }
}

void PortBase::open_line(bool connects) {
    // Once a sweep for those that don't connect for themselves: a dead peer must not cost an attempt for each
    // parameter.
    bool const is_wanted = connects || (!open_failed_ && (cport->poll_reconnect || line_released));
    if (is_wanted && tran && !tran->is_open()) {
        tran->open();
        line_released = false;
        open_failed_ = !tran->is_open();
    }
}

DevBase* PortBase::get_device(std::string const& name) {
    auto const found =
        std::find_if(devices.begin(), devices.end(), [&name](auto const& device) { return device->cfg->name == name; });
    return found == devices.end() ? nullptr : found->get();
}
