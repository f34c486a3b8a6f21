#include "drivers/xsnmp/config.h"

#include "config/constants.h"
#include "drivers/xsnmp/inner_oid.h"
#include "drivers/xsnmp/library.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace xsnmp {

using xCommon::jUtils;
using xCommon::xExceptionf;

namespace {

const std::string type_word = "snmp";

CBFac const registrars[] = {CBFac::add<csport>("snmp.cport"), CBFac::add<csdev>("snmp.cdev"),
                            CBFac::add<sparam>("snmp.cparam")};

}  // namespace

csport::csport(Json::Value& node) : CPort(node) {
    Load(this, node, "devices", suffix_cdev, type_word);
    if (children.empty()) {
        throw xExceptionf("#%s : ctor : список устройств пуст.", name);
    }
}

csdev::csdev(CBase* port_node, Json::Value& node) : CDev(port_node, node), port(dynamic_cast<csport*>(port_node)) {
    if (port == nullptr) {
        throw xExceptionf("#%s : ctor : не указан порт.", name);
    }
    url = jUtils::get_string(node, "url", "");
    if (url.empty()) {
        throw xExceptionf("#%s : ctor : не указан аргумент 'url'.", name);
    }
    community = jUtils::get_string(node, "community", community);
    version = jUtils::get_int(node, "version", version);
    load_params(node, type_word);
    // Here already, where no worker runs yet: for a moment the library changes the locale of the process.
    library::start(name);
}

sparam::sparam(CBase* device_node, Json::Value& node)
    : CParam(device_node, node), device(dynamic_cast<csdev*>(device_node)) {
    if (!jUtils::has(node, "oid")) {
        throw xExceptionf("#%s : ctor : не указан аргумент 'oid'.", name);
    }
    oid = jUtils::get_string(node, "oid", "");
}

sparam::~sparam() = default;

void sparam::Compare(Json::Value& node) {
    if (node.empty()) {
        return;
    }
    oid = jUtils::get_string(node, "oid", oid);
    CParam::Compare(node);
}

}  // namespace xsnmp
