#include "config/constants.h"
#include "drivers/mediactrl/config.h"
#include "drivers/mediactrl/pdu.h"
#include "runtime/exchange.h"
#include "runtime/typed_device.h"

namespace mediactrl {

using xCommon::lmtInfo;
using xCommon::lmtTrace;

/// Turns each "/on" message into one frame. It polls nothing and publishes nothing.
class dev : public CommandedDevice<TypedDevice<c_dev, c_param>, c_param>, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node);

    /// Every due parameter counts as polled with success.
    bool poll_param(CParam* /*param*/) override { return true; }

    /// Sends the command; no reply is awaited.
    void write(c_param* param, std::string const& value) override;

 private:
    void add_commands(CommandMap& commands, CParam& param) override;
};

namespace {

IBFac const registrar = IBFac::add<dev>("media_ctrl.dev");

constexpr Exchange::Texts texts = {.request = "dev_mb_tcp::write : запись"};  // the label of old

constexpr DriverWords words = {"медиаконтроллером", "медиаконтроллера"};

}  // namespace

dev::dev(IBase* port_object, CBase* node) : CommandedDevice(port_object, node, words) {}

void dev::add_commands(CommandMap& commands, CParam& param) {
    commands.add(on_topic(param.name), {&param});
}

void dev::write(c_param* param, std::string const& value) {
    if (param == nullptr) {
        return;
    }
    param->Logf(lmtInfo, "запись нового значения : %s", value);
    xCommon::ByteList frame;
    pdu::command(frame, value);
    Exchange exchange(*port, *param, texts);
    // A command that didn't go out is told at the information level, and so are all of this driver's outcomes.
    bool const sent = exchange.send(frame) == static_cast<int>(frame.size());
    if (!sent) {
        xCommon::LogExchange::fail();
    }
    param->Logf(lmtInfo, xCommon::RuntimeFormat(sent ? "записано новое значение : %s" : "значение %s не записано"),
                value);
}

}  // namespace mediactrl
