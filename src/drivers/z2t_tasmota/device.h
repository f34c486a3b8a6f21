#pragma once

#include <string>

#include "drivers/z2t_tasmota/config.h"
#include "runtime/typed_device.h"

namespace z2t_tasmota {

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

}  // namespace z2t_tasmota
