#include <json/writer.h>

#include "config/constants.h"
#include "drivers/z2t_tasmota/config.h"
#include "foundation/jutils.h"
#include "runtime/typed_device.h"

namespace z2t_tasmota {

using xCommon::jUtils;
using xCommon::lmtError;
using xCommon::lmtTrace;
using xCommon::xString;

/// Turns what the bridge reports about one device into controls, and writes into commands to the bridge. It polls
/// nothing, and is used through DevBase alone.
///
/// in   tele/<z2t_id>/SENSOR, tele/<z2t_id>/RESULT
///        {"ZbReceived": {"<sid>": {"Endpoint": 1, "<z2t_name>": 21.5, ...}}}   values of the device
///        {"ZbState": {"Status": 0, ...}}                                      state of the bridge
/// out  cmnd/<z2t_id>/ZbSend
///        {"Device":"<sid>","Endpoint":1,"Send":{"<z2t_name>":"1"}}            one line, and a line feed
class device_t : private TypedDevice<config_device_t, config_param_t>, public FromNode<device_t> {
    friend FromNode<device_t>;

 public:
    /// Raises an xExceptionf for a node that is no config_device_t.
    device_t(IBase* port_object, CBase* node);

    void ProcConnect() override;
    /// A write on the topic of a control; false when it is for nobody here, or didn't go out.
    bool ProcMessage(std::string& topic, std::string& payload) override;
    /// One member of a message of the bridge; false leaves it to the next device. Raises what mq_publish() raises.
    bool ProcMessage(std::string const& topic, std::string const& key, Json::Value value) override;
    bool poll_param(CParam* param) override { return param != nullptr; }
    std::string get_device_name() override;

    /// Publishes one value. Raises what CParam::check_value() raises.
    void mq_publish(config_param_t* param, std::string const& value);
    /// Sends one command; false when it could not be published.
    bool send_cmd(config_param_t* param, std::string const& value);

 private:
    bool take_report(Json::Value const& report);
    bool take_state(Json::Value const& state);
    void take_values(Json::Value const& values);
    void take_endpoint(Json::Value const& values);
    void take_value(config_param_t& param, Json::Value const& value);
    void add_commands(CommandMap& commands, CParam& param) override;
};

namespace {

IBFac const registrar = IBFac::add<device_t>("z2t.dev");

constexpr DriverWords words = {"устройством Zigbee", "Zigbee"};

/// Null has no members, as an object without any.
bool has_members(Json::Value const& value) {
    return value.isObject() || value.isNull();
}

bool is_text(Json::Value const& value) {
    return value.isConvertibleTo(Json::stringValue);
}

/// Without blanks, the keys sorted, a line feed at the end.
std::string one_line(Json::Value const& value) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, value) + "\n";
}

}  // namespace

device_t::device_t(IBase* port_object, CBase* node) : TypedDevice(port_object, node, words) {}

std::string device_t::get_device_name() {
    return xString::Format("%s_%s", config_->cname, config_->sid);
}

void device_t::ProcConnect() {
    subscribe_commands("subscribe on : %s.");
}

void device_t::add_commands(CommandMap& commands, CParam& param) {
    if (is_own(param)) {
        DevBase::add_commands(commands, param);
    }
}

bool device_t::ProcMessage(std::string& topic, std::string& payload) {
    config_param_t* const param = own(commands_.find(topic).param);
    return param != nullptr && send_cmd(param, payload);
}

bool device_t::ProcMessage(std::string const& /*topic*/, std::string const& key, Json::Value value) {
    if (key == "ZbReceived") {
        return take_report(value);
    }
    return key == "ZbState" && take_state(value);
}

bool device_t::take_report(Json::Value const& report) {
    if (!has_members(report)) {
        port->cport->Log(lmtError, "ZbReceived : отчёт не является объектом. Пропущен.");
        return true;  // no other device could make more of it
    }
    // On purpose only reports of one device are served in full: of two, the first one in the order of the names is
    // served here, and the second name then makes this device decline, and the second device has declined at the first
    // name. Bridges put one device in a report.
    for (std::string const& name : report.getMemberNames()) {
        if (name != config_->sid) {
            return false;
        }
        take_values(report[name]);
    }
    return true;
}

void device_t::take_values(Json::Value const& values) {
    if (!has_members(values)) {
        cfg->Log(lmtError, "ZbReceived : отчёт об устройстве не является объектом. Пропущен.");
        return;
    }
    presence.answered();
    take_endpoint(values);
    for (CParam* const child : params_) {
        config_param_t* const param = own(child);
        if (param != nullptr && values.isMember(param->z2t_name)) {
            take_value(*param, values[param->z2t_name]);
        }
    }
}

/// The values of a report stand, whatever its endpoint is.
void device_t::take_endpoint(Json::Value const& values) {
    Json::Value const& reported = jUtils::at(values, "Endpoint");
    if (reported.isNull()) {
        return;
    }
    if (!reported.isConvertibleTo(Json::intValue)) {
        cfg->Logf(lmtError, "ZbReceived : Endpoint не является 32-битным числом. Остаётся %d.", config_->endpoint);
        return;
    }
    config_->endpoint = reported.asInt();
}

/// A value without a text costs itself and not the others of the report. One that can't be checked ends the report, and
/// the sweep in which it is served.
void device_t::take_value(config_param_t& param, Json::Value const& value) {
    if (!is_text(value)) {
        param.Logf(lmtError, "значение не является текстом или числом : %s.", param.z2t_name);
        return;
    }
    mq_publish(&param, value.asString());
}

bool device_t::take_state(Json::Value const& state) {
    if (!has_bridge(*port->cport)) {
        return false;
    }
    Json::Value const& status = jUtils::at(state, "Status");
    if (!has_members(state) || !is_text(status)) {
        port->cport->Log(lmtError, "ZbState : Status не является текстом или числом. Пропущен.");
        return true;
    }
    // On purpose whichever device comes first in the list answers, under its own `sid`: only with the bridge ahead of
    // its devices does the topic bear the bridge's.
    std::string const name = xString::Format("%s_%s", bridge_cname, config_->sid);
    port->mq_publish(xString::Format(topic_bridge_status, name), status.asString(), 2, true);
    return true;
}

void device_t::mq_publish(config_param_t* param, std::string const& value) {
    std::string text = value;
    // Of all the value types this one alone is checked, scaled and given its unit.
    if (param->value_type == vt_float32) {
        if (!param->check_value(value)) {
            blame_port();
            port->mq_publish(xString::Format(topic_meta, get_device_name(), param->name, topic_meta_error), "r", 0,
                             false);
            return;
        }
        text = param->format(value);
    }
    port->mq_publish(xString::Format(topic_value, get_device_name(), param->name), text, 2, true);
}

bool device_t::send_cmd(config_param_t* param, std::string const& value) {
    Json::Value command;
    command["Device"] = config_->sid;
    command["Endpoint"] = config_->endpoint;
    command["Send"][param->z2t_name] = value;
    return port->mq_publish(xString::Format(topic_z2t_send, port->cport->z2t_id), one_line(command), 2, true);
}

}  // namespace z2t_tasmota
