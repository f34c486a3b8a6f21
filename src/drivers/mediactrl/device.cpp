#include "drivers/mediactrl/device.h"

#include <vector>

#include "config/constants.h"
#include "config/process.h"
#include "drivers/mediactrl/pdu.h"
#include "foundation/xexception.h"
#include "runtime/command_connection.h"
#include "runtime/port_base.h"

namespace mediactrl {

using xCommon::lmtInfo;
using xCommon::lmtTrace;
using xCommon::xString;

namespace {

IBFac const registrar("media_ctrl" + suffix_dev, dev::create);

}  // namespace

dev::dev(IBase* port_object, CBase* node) : DevBase(port_object, node), config_(dynamic_cast<c_dev*>(node)) {
    if (config_ == nullptr) {
        throw xCommon::xExceptionf("#%s : ctor : узел не является медиаконтроллером.", cfg->name);
    }
}

IBase* dev::create(IBase* port_object, CBase* node) {
    return new dev(port_object, node);
}

void dev::ProcConnect() {
    std::vector<xMQ::subsItem> items;
    for (auto const& child : config_->children) {
        items.push_back({xString::Format(topic_on, get_device_name(), child->name), 2});
        cfg->Logf(lmtTrace, "subscribe on : %s", items.back().topic);
    }
    port->mq_subscribe(items);
}

bool dev::ProcMessage(std::string& topic, std::string& payload) {
    cfg->Logf(lmtTrace, "ProcMessage : %s = %s.", topic, payload);
    if (!xString::EndsWith(topic, "/on")) {
        return false;
    }
    for (auto const& child : config_->children) {
        if (topic == xString::Format(topic_on, get_device_name(), child->name)) {
            CommandConnection const connection(*this);
            write(dynamic_cast<c_param*>(child.get()), payload);
            return true;
        }
    }
    return false;
}

void dev::write(c_param* param, std::string const& value) {
    if (param == nullptr) {
        return;
    }
    param->Logf(lmtInfo, "запись нового значения : %s", value);
    xCommon::ByteList frame;
    pdu::command(frame, value);
    int const length = frame.pop_buf(port->buffer, PortBase::buffer_size);
    trace_hex(*port->cport, port->buffer, length, "dev_mb_tcp::write : запись");  // the label of old
    // A command that didn't go out is told at the information level, and so are all of this driver's outcomes.
    bool const sent = port->tran->write(port->buffer, length) == static_cast<int>(frame.size());
    if (!sent) {
        xCommon::LogExchange::fail();
    }
    param->Logf(lmtInfo, sent ? "записано новое значение : %s" : "значение %s не записано", value);
}

}  // namespace mediactrl
