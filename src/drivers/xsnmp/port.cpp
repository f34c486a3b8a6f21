#include "drivers/xsnmp/port.h"

#include "config/constants.h"
#include "drivers/xsnmp/device.h"
#include "foundation/xexception.h"

namespace xsnmp {

using xCommon::lmtError;
using xCommon::xExceptionf;

namespace {

IBFac const registrar = IBFac::add<sport>("snmp.port");

csport* checked(CPort* node) {
    auto* const port = dynamic_cast<csport*>(node);
    if (port == nullptr) {
        throw xCommon::xException("sport::ctor : не указан 'cport'.");
    }
    return port;
}

}  // namespace

sport::sport(IBase* parent_object, CPort* node) : PortBase(parent_object, checked(node)) {
    if (cport->children.empty()) {
        throw xExceptionf("sport::ctor : %s : список настроек устройств пуст.", cport->name);
    }
    for (auto const& child : cport->children) {
        if (child->enabled) {
            add_device(*child);
        }
    }
    if (devices.empty()) {
        throw xExceptionf("sport::ctor : %s : список устройств пуст.", cport->name);
    }
}

void sport::add_device(CBase& child) {
    auto* const node = dynamic_cast<csdev*>(&child);
    if (node == nullptr) {
        child.Log(lmtError, "устройство не является устройством SNMP : пропущено.");
        return;
    }
    try {
        auto device = std::make_unique<sdev>(this, node);
        if (device->ssn_open()) {
            devices.push_back(std::move(device));
        }
    } catch (std::exception const& e) {
        cport->Logf(lmtError, "#%s : исключение при создании устройства : %s", child.name, e.what());
    }
}

void sport::Poll(long long now) {
    if (!is_connected()) {
        return;
    }
    long long const polls_before = polls;
    for (auto const& device : devices) {
        if (!device->cfg->enabled) {
            continue;
        }
        poll_device(*device, now, *cport);
    }
    if (polls != polls_before) {
        show_stat();
    }
}

}  // namespace xsnmp
