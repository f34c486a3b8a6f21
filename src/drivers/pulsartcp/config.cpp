#include "drivers/pulsartcp/config.h"

#include <limits>

#include "config/constants.h"
#include "config/utils.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace pulsartcp {

using xCommon::jUtils;
using xCommon::xExceptionf;

namespace {

const std::string type_word = "pulsar-tcp";

CBFac const registrars[] = {CBFac::add<c_dev>("pulsar-tcp.cdev"), CBFac::add<c_param>("pulsar-tcp.cparam")};

unsigned int get_unsigned(std::string const& name, Json::Value const& node, char const* key, unsigned int fallback) {
    double const value = jUtils::get_double(node, key, fallback);
    if (value < 0 || value > std::numeric_limits<unsigned int>::max()) {
        throw xExceptionf("%s : недопустимое значение ключа '%s' : %.0f.", name, key, value);
    }
    return static_cast<unsigned int>(value);
}

}  // namespace

c_param::c_param(CBase* device, Json::Value& node) : CParam(device, node) {
    function = static_cast<unsigned char>(get_unsigned(name, node, "function", function));
    if (!jUtils::has(node, "parameter_number")) {
        throw xExceptionf("%s : не указан атрибут 'parameter_number'.", name);
    }
    parameter_number = static_cast<unsigned int>(Utils::jToInt(node["parameter_number"]));
}

void c_param::Compare(Json::Value& /*node*/) {
    Log(xCommon::lmtInfo, "СРАВНЕНИЕ 2");
}

c_dev::c_dev(CBase* port_node, Json::Value& node) : CDev(port_node, node), port(port_node) {
    if (port == nullptr) {
        throw xExceptionf("#%s : ctor : не указан порт.", name);
    }
    if (!jUtils::has(node, "sid")) {
        throw xExceptionf("#%s : ctor : не указан аргумент 'sid'.", name);
    }
    sid = get_unsigned(name, node, "sid", 0);
    name = xCommon::xString::Format("%s_%d", name, sid);
    if (!jUtils::has(node, "delay")) {
        throw xExceptionf("#%s : ctor : не указан аргумент 'delay'.", name);
    }
    delay = static_cast<unsigned short>(get_unsigned(name, node, "delay", 0));
    if (!jUtils::has(node, "type_device")) {
        throw xExceptionf("%s : не указан атрибут 'type_device'.", name);
    }
    type_device = jUtils::get_string(node, "type_device", "");
    Load(this, node, "params", suffix_cparam, type_word);
    if (children.empty()) {
        throw xExceptionf("#%s : ctor : устройство не содержит ни одного параметра.", name);
    }
}

}  // namespace pulsartcp
