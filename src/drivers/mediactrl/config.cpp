#include "drivers/mediactrl/config.h"

#include "config/constants.h"
#include "config/keys.h"
#include "foundation/xexception.h"

namespace mediactrl {

namespace {

const std::string type_word = "media_ctrl";

constexpr keys::Key table[] = {
    {"sid", keys::Type::number_or_text, "", "must be there; its value isn't used",
     "должен быть указан; значение не используется", keys::Overlay::ignored, "#%s : ctor : не указан аргумент 'sid'."},
};

CBFac const registrars[] = {CBFac::add<c_dev>("media_ctrl.cdev", table), CBFac::add<c_param>("media_ctrl.cparam")};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : CDev(port_node, node), port(port_node) {
    check_port();
    keys::read(table, *this, node);
    load_params(node, type_word);
}

}  // namespace mediactrl
