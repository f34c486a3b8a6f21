#include "drivers/pulsartcp/config.h"

#include <limits>

#include "config/constants.h"
#include "config/keys.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace pulsartcp {

using xCommon::jUtils;
using xCommon::xExceptionf;

namespace {

using keys::Overlay;
using keys::Type;

constexpr double most = std::numeric_limits<unsigned int>::max();

constexpr keys::Key parameter_table[] = {
    {"function", keys::limited<&c_param::function>, "10", "10 reads a parameter, 1 channels, 4 the clock",
     "10 читает параметр, 1 каналы, 4 часы", Overlay::ignored, nullptr, "", keys::any_text, 0, most},
    {"parameter_number", keys::code<&c_param::parameter_number>, "",
     "number of the parameter, with function 1 the mask of channels; 16 bits of it count",
     "номер параметра, для функции 1 маска каналов; учитываются 16 бит", Overlay::ignored,
     "%s : не указан атрибут 'parameter_number'."},
};

constexpr keys::Key address_table[] = {
    {"sid", keys::limited<&c_dev::sid>, "", "the meter's address, at most 8 digits", "адрес прибора, не больше 8 цифр",
     Overlay::ignored, "#%s : ctor : не указан аргумент 'sid'.", "", keys::any_text, 0, most},
};
/// Their messages bear the name with the address.
constexpr keys::Key device_table[] = {
    {"delay", keys::limited<&c_dev::delay>, "", "pause ahead of each request; 0 is none",
     "пауза перед каждым запросом; 0: без паузы", Overlay::ignored, "#%s : ctor : не указан аргумент 'delay'.", "ms",
     keys::any_text, 0, most},
    {"type_device", keys::of<&c_dev::type_device>, "",
     "`water_meter` or `pulse_counter`; another word is told at each poll",
     "`water_meter` или `pulse_counter`; о другом слове сообщается при каждом опросе", Overlay::ignored,
     "%s : не указан атрибут 'type_device'."},
};

CBFac const registrars[] = {CBFac::add<c_dev>("pulsar-tcp.cdev", address_table, device_table),
                            CBFac::add<c_param>("pulsar-tcp.cparam", parameter_table)};

}  // namespace

c_param::c_param(CBase* device, Json::Value& node) : CParam(device, node) {
    keys::read(parameter_table, *this, node);
}

void c_param::Compare(Json::Value& /*node*/) {
    Log(xCommon::lmtInfo, "СРАВНЕНИЕ 2");
}

c_dev::c_dev(CBase* port_node, Json::Value& node) : CDev(port_node, node) {
    check_port();
    keys::read(address_table, *this, node);
    name = xCommon::xString::Format("%s_%d", name, sid);
    keys::read(device_table, *this, node);
    Load(this, node, "params", suffix_cparam, "pulsar-tcp");
    if (children.empty()) {
        throw xExceptionf("#%s : ctor : устройство не содержит ни одного параметра.", name);
    }
}

}  // namespace pulsartcp
