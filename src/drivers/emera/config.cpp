#include "drivers/emera/config.h"

#include <algorithm>

#include "config/constants.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace emera {

using xCommon::jUtils;
using xCommon::xExceptionf;

namespace {

const std::string type_word = "emera";

CBFac const registrars[] = {CBFac::add<ecdev>("emera.cdev"), CBFac::add<ecparam>("emera.cparam")};

}  // namespace

ecdev::ecdev(CBase* port_node, Json::Value& node) : CDev(port_node, node) {
    if (port_node == nullptr) {
        throw xExceptionf("#%s : ctor : не указан порт.", name);
    }
    sid = jUtils::get_string(node, "sid", "");
    if (sid.empty()) {
        throw xExceptionf("#%s : ctor : не указан аргумент 'sid'.", name);
    }
    load_params(node, type_word);
}

ecparam::ecparam(CBase* device, Json::Value& node) : CParam(device, node) {
    read_keys(node);
}

void ecparam::Compare(Json::Value& node) {
    if (node.empty()) {
        return;
    }
    read_keys(node);
    CParam::Compare(node);
}

void ecparam::read_keys(Json::Value const& node) {
    std::string const new_cmd = jUtils::get_string(node, "cmd", cmd);
    if (new_cmd.empty()) {
        throw xExceptionf("#%s : ctor : не указан аргумент 'cmd'.", name);
    }
    offset = std::max(jUtils::get_int(node, "offset", offset), 0);
    cmd = new_cmd;
}

}  // namespace emera
