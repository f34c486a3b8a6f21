#include "drivers/dcon/config.h"

#include <cctype>

#include "config/constants.h"
#include "config/utils.h"
#include "drivers/dcon/pdu.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace dcon {

using xCommon::jUtils;
using xCommon::xExceptionf;
using xCommon::xString;

namespace {

const std::string type_word = "dcon";
/// A parameter outside of a template has to state its type: without one it has always been one of Modbus.
const std::string default_param_type = "mb-rtu";

CBFac const registrars[] = {CBFac::add<c_dev>("dcon.cdev"), CBFac::add<c_param>("dcon.cparam")};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : CDev(port_node, node), port(port_node) {
    if (port == nullptr) {
        throw xExceptionf("#%s : ctor : не указан порт.", name);
    }
    if (!jUtils::has(node, "sid")) {
        throw xExceptionf("#%s : ctor : не указан аргумент 'sid'.", name);
    }
    sid = Utils::jToInt(node["sid"]);
    sid_hex = xString::Format("%02X", sid);
    name = xString::Format("%s_%d", name, sid);
    crc_enabled = jUtils::get_bool(node, "crc_enabled", true);
    crc_size = crc_enabled ? 2 : 0;
    load_params(node, type_word, "ctor", default_param_type);
}

c_param::c_param(CBase* device_node, Json::Value& node)
    : CParam(device_node, node), device(dynamic_cast<c_dev const*>(device_node)) {
    if (device == nullptr) {
        throw xExceptionf("%s : не указана ссылка на параметры устройства.", name);
    }
    if (!jUtils::has(node, "cmd")) {
        throw xExceptionf("%s : не указан атрибут 'cmd'.", name);
    }
    cmd = jUtils::get_int(node, "cmd", cmd);
    if (pdu::get_resp_size(this) < 0) {
        throw xExceptionf("%s : неверное значение атрибута 'cmd'. Допустимые значения : 1, 9, 10, 13, 15 и 21.", name);
    }
    channel = jUtils::get_string(node, "channel", "");
    if (cmd == cmd_read_channel && channel.size() != 1) {
        // The number in the text is wrong, and stays: it is what installers search for.
        throw xExceptionf("%s : для команды 15 должен быть указан номер канала из одного символа от 0 до F.", name);
    }
    if (!channel.empty()) {
        channel[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(channel[0])));
    }
    offset = jUtils::get_int(node, "offset", 0);
    if (cmd == cmd_configure || cmd == cmd_clear_counter) {
        read_only = false;
    }
    if (is_state()) {
        if (!jUtils::has(node, "bh_list")) {
            throw xExceptionf("%s : для команд 13 и 21 должен быть указан массив 'bh_list'.", name);
        }
        value_type = vt_u16;
        bits = std::make_unique<bholding::bhold>(this, node);
    }
}

void c_param::Compare(Json::Value& node) {
    if (node.empty()) {
        return;
    }
    int const new_cmd = jUtils::get_int(node, "cmd", cmd);
    channel = jUtils::get_string(node, "channel", channel);
    cmd = new_cmd;
    CParam::Compare(node);
}

}  // namespace dcon
