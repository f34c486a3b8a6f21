#include "drivers/set4tm/config.h"

#include "config/constants.h"
#include "config/keys.h"

namespace set4tm {

namespace {

const std::string type_word = "set-4tm";

using keys::Overlay;
using keys::Type;

constexpr keys::Key device_table[] = {
    {"password", keys::of<&c_dev::password>, "164937", "six characters; kept, not sent yet",
     "шесть символов; хранится, пока не передаётся"},
};

constexpr keys::Key table[] = {
    {"command", keys::of<&c_param::command>, "", "not sent yet", "пока не передаётся", Overlay::taken,
     "%s : не указан атрибут 'command'."},
    {"param", keys::of<&c_param::param>, "", "not sent yet", "пока не передаётся", Overlay::taken,
     "%s : не указан атрибут 'param'."},
};

CBFac const registrars[] = {CBFac::add<c_dev>("set-4tm.cdev", device_table),
                            CBFac::add<c_param>("set-4tm.cparam", table)};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : CAddressDev(port_node, node) {
    keys::read(device_table, *this, node);
    load_params(node, type_word);
}

c_param::c_param(CBase* device, Json::Value& node) : CParam(device, node) {
    keys::read(table, *this, node);
}

std::span<keys::Key const> c_param::own_keys() const {
    return table;
}

}  // namespace set4tm
