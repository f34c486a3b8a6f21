#include "runtime/port_line.h"

#include "foundation/xlog.h"
#include "runtime/dev_base.h"
#include "runtime/port_host.h"
#include "transport/no_line_tran.h"
#include "transport/rs_tran.h"
#include "transport/tcp_tran.h"

using xCommon::lmtError;
using xCommon::lmtTrace;

void PortLine::make_transport() {
    tran = host_ != nullptr ? host_->make_line(node_) : real_line(node_);
}

std::unique_ptr<iTran> PortLine::real_line(CPort& node) {
    if (node.type_has("rs")) {
        return std::make_unique<rsTran>(&node);
    }
    if (node.type_has("tcp")) {
        return std::make_unique<tcpTran>(&node);
    }
    if (node.type_has("z2t")) {
        return std::make_unique<z2tTran>(&node);
    }
    return std::make_unique<nullTran>(&node);
}

bool PortLine::reopen_with_own_settings() {
    auto* line = dynamic_cast<rsTran*>(tran.get());
    if (line == nullptr || node_.rs.compare(line->settings)) {
        return false;
    }
    line->settings = node_.rs;
    return line->open();
}

void PortLine::check_for_personal_rs(DevBase* dev) {
    line_ready = true;
    if (node_.type_has("tcp") || node_.type_has("z2t")) {
        return;
    }
    auto* line = dynamic_cast<rsTran*>(tran.get());
    auto const* node = dynamic_cast<CDev const*>(dev->cfg);
    if (line == nullptr || node == nullptr) {
        return;
    }
    if (!node->personal_rs) {
        if (!node_.rs.compare(line->settings)) {
            line->settings = node_.rs;
            line->close();
            line_ready = line->open();
        }
        return;
    }
    xserial::xco wanted = node->rs;
    if (wanted.path.empty()) {
        wanted.path = node_.rs.path;
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
        line->settings = node_.rs;
        line->open();
    }
}

void PortLine::open_line(bool connects) {
    // Once a sweep for those that don't connect for themselves: a dead peer must not cost an attempt for each
    // parameter.
    bool const is_wanted = connects || (!open_failed_ && (node_.poll_reconnect || line_released));
    if (is_wanted && tran && !tran->is_open()) {
        tran->open();
        line_released = false;
        open_failed_ = !tran->is_open();
    }
}

void PortLine::release_line() {
    tran->close();
    line_released = true;
}
