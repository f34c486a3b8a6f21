// The least that a driver is, to begin a new one with. It belongs to no device, and the daemon doesn't have it.

#include "config/cparam.h"
#include "config/cport.h"
#include "config/keys.h"
#include "drivers/skeleton/pdu.h"
#include "runtime/exchange.h"
#include "runtime/typed_device.h"

namespace skeleton {

namespace {

struct c_dev : CAddressDev, FromJson<c_dev> {
    c_dev(CBase* port_node, Json::Value& node) : CAddressDev(port_node, node) { load_params(node, "skeleton"); }
};

struct c_param : CParam, FromJson<c_param> {
    c_param(CBase* device, Json::Value& node) : CParam(device, node) { keys::read(c_param::own_keys(), *this, node); }
    std::span<keys::Key const> own_keys() const override;
    unsigned char number = 0;
};

constexpr keys::Key table[] = {
    {"number", keys::limited<&c_param::number>, "", "number of the value", "номер значения", keys::Overlay::taken,
     "%s : не указан атрибут 'number'.", "", keys::any_text, 0, 255},
};

std::span<keys::Key const> c_param::own_keys() const {
    return table;
}

constexpr DriverWords words = {"устройством skeleton", "skeleton"};
class dev : public CommandedDevice<PolledDevice<c_dev, c_param>, c_param>, public FromNode<dev> {
 public:
    dev(IBase* port_object, CBase* node) : CommandedDevice(port_object, node, words) {}

    BaseResult get_response(c_param* param) override {
        BaseResult result;
        Exchange exchange(*port, *param, plain_texts);
        if (exchange.run(*param, pdu::read(slave_address(), param->number), pdu::head_size, pdu::tail_size,
                         pdu::echoed_by_read)) {
            result.result = std::to_string(pdu::value(exchange.answer()));
            result.is_ok = true;
        }
        return result;
    }

    void write(c_param* param, std::string const& value) override {
        auto const number = static_cast<unsigned short>(param->whole_number(value, 0, pdu::most));
        Exchange exchange(*port, *param, plain_texts);
        if (exchange.run(*param, pdu::write(slave_address(), param->number, number), pdu::head_size, pdu::tail_size,
                         pdu::echoed_by_write)) {
            poll_param(param);  // what the device has made of it
        }
    }
};

CBFac const registrars[] = {CBFac::add<c_dev>("skeleton.cdev"), CBFac::add<c_param>("skeleton.cparam", table)};
IBFac const registrar = IBFac::add<dev>("skeleton.dev");

}  // namespace

}  // namespace skeleton
