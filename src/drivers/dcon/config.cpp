#include "drivers/dcon/config.h"

#include <cctype>

#include "config/constants.h"
#include "config/keys.h"
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

using keys::Overlay;
using keys::Type;

constexpr keys::Key device_table[] = {
    {"crc_enabled", keys::of<&c_dev::crc_enabled>, "true", "checksums, in both directions",
     "контрольные суммы, в обе стороны"},
};

constexpr keys::Key command_table[] = {
    {"cmd", keys::of<&c_param::cmd>, "", "the command: 1, 9, 10, 13, 15 or 21", "команда: 1, 9, 10, 13, 15 или 21",
     Overlay::taken, "%s : не указан атрибут 'cmd'.", "", keys::any_text, 1, 21},
};
constexpr keys::Key channel_table[] = {
    {"channel", keys::of<&c_param::channel>, "", "for command 9: one character, 0 to F; a lower-case letter is raised",
     "для команды 9: один символ от 0 до F; строчная буква становится прописной", Overlay::taken},
};
constexpr keys::Key state_table[] = {
    {"offset", keys::of<&c_param::offset>, "0", "has no effect", "ни на что не влияет"},
    {"bh_list", Type::list, "", "named bits, required for commands 13 and 21",
     "именованные биты, обязательны для команд 13 и 21"},
};

CBFac const registrars[] = {CBFac::add<c_dev>("dcon.cdev", device_table),
                            CBFac::add<c_param>("dcon.cparam", command_table, channel_table, state_table)};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : CAddressDev(port_node, node) {
    keys::read(device_table, *this, node);
    sid_hex = xString::Format("%02X", sid);
    crc_size = crc_enabled ? 2 : 0;
    load_params(node, type_word, "ctor", default_param_type);
}

c_param::c_param(CBase* device_node, Json::Value& node)
    : CParam(device_node, node), device(dynamic_cast<c_dev const*>(device_node)) {
    if (device == nullptr) {
        throw xExceptionf("%s : не указана ссылка на параметры устройства.", name);
    }
    keys::read(command_table, *this, node);
    if (pdu::get_resp_size(this) < 0) {
        throw xExceptionf("%s : неверное значение атрибута 'cmd'. Допустимые значения : 1, 9, 10, 13, 15 и 21.", name);
    }
    keys::read(channel_table, *this, node);
    if (cmd == cmd_read_channel && channel.size() != 1) {
        // The number in the text is wrong, and stays: it is what installers search for.
        throw xExceptionf("%s : для команды 15 должен быть указан номер канала из одного символа от 0 до F.", name);
    }
    if (!channel.empty()) {
        channel[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(channel[0])));
    }
    keys::read(state_table, *this, node);
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
    keys::lay_over(channel_table, *this, node);
    cmd = new_cmd;
    CParam::Compare(node);
}

}  // namespace dcon
