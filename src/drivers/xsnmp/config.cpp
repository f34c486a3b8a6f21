#include "drivers/xsnmp/config.h"

#include "config/constants.h"
#include "config/keys.h"
#include "drivers/xsnmp/inner_oid.h"
#include "drivers/xsnmp/library.h"
#include "foundation/xexception.h"

namespace xsnmp {

using xCommon::xExceptionf;

namespace {

const std::string type_word = "snmp";

void read_url(xCommon::LogItem& node, Json::Value const& json, keys::Key const& key) {
    keys::of<&csdev::url>.read(node, json, key);
    if (keys::member<&csdev::url>(node).empty()) {
        throw xExceptionf(xCommon::RuntimeFormat(key.missing), node.name);
    }
}

using keys::Overlay;
using keys::Type;

constexpr keys::Key device_table[] = {
    {"url", keys::Value(Type::text, read_url), "",
     "the agent: `[transport:]host[:port]`; without a transport UDP, port 161",
     "агент: узел или `транспорт:узел:порт`; без указания транспорта UDP, порт 161", Overlay::ignored,
     "#%s : ctor : не указан аргумент 'url'."},
    {"community", keys::of<&csdev::community>, "kelvar", "the community for reading", "сообщество для чтения"},
    {"version", keys::of<&csdev::version>, "2", "2 is version 2c, every other number version 1",
     "2: версия 2c, любое другое число: версия 1"},
};

constexpr keys::Key table[] = {
    {"oid", keys::of<&sparam::oid>, "",
     "the object id in numbers, with or without a point ahead; a single value ends in `.0`",
     "идентификатор объекта числами, с точкой впереди или без неё; одиночное значение кончается на `.0`",
     Overlay::taken, "#%s : ctor : не указан аргумент 'oid'."},
};

CBFac const registrars[] = {CBFac::add<csport>("snmp.cport"), CBFac::add<csdev>("snmp.cdev", device_table),
                            CBFac::add<sparam>("snmp.cparam", table)};

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
    keys::read(device_table, *this, node);
    load_params(node, type_word);
    // Here already, where no worker runs yet: for a moment the library changes the locale of the process.
    library::start(name);
}

sparam::sparam(CBase* device_node, Json::Value& node)
    : CParam(device_node, node), device(dynamic_cast<csdev*>(device_node)) {
    keys::read(table, *this, node);
}

sparam::~sparam() = default;

std::span<keys::Key const> sparam::own_keys() const {
    return table;
}

}  // namespace xsnmp
