#include "config/cport.h"

#include "config/config.h"
#include "config/constants.h"
#include "config/keys.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

using xCommon::jUtils;
using xCommon::xExceptionf;

namespace {

CBFac const registrars[] = {CBFac::add<CPort>("base.cport"), CBFac::add<CPort>("base.rs.cport"),
                            CBFac::add<CPort>("base.tcp.cport"), CBFac::add<CPort>("base.z2t.cport"),
                            CBFac::add<CPort>("base.null.cport")};

using keys::Type;

constexpr keys::Key port_table[] = {
    {"devices", Type::list, keys::required, "the devices", "устройства"},
    {"rs", Type::object, "", "serial settings, of a serial line", "настройки последовательной линии"},
    {"tcp", Type::object, "", "`url` (127.0.0.1) and `port` (0) of a TCP peer",
     "`url` (127.0.0.1) и `port` (0) узла TCP"},
    {"url", Type::text, "", "the TCP peer, where there is no `tcp`", "узел TCP, если нет `tcp`"},
    {"port", Type::integer, "-1", "its port, where there is no `tcp`", "его порт, если нет `tcp`"},
    {"zigbee", Type::object, "", "`address` of a bridge", "`address` моста"},
};

/// Of Modbus devices alone: the others walk over their parameters.
void read_all_params(xCommon::LogItem& node, Json::Value const& json, keys::Key const& key) {
    std::string const& type = keys::member<&CBase::type>(node);
    if (type == "mb-tcp" || type == "mb-rtu") {
        keys::of<&CBase::all_params>.read(node, json, key);
    }
}

constexpr keys::Key device_table[] = {
    {"rs", Type::object, "", "personal serial settings", "собственные настройки линии"},
    {"display_name", keys::of<&CDev::display_name>, "", "a name for people, sent on `/devices/error`",
     "имя для людей, передаётся в `/devices/error`"},
    {"all_params", keys::Value(Type::flag, read_all_params), "false",
     "Modbus only: the whole device is read in few long requests",
     "только Modbus: устройство читается немногими длинными запросами"},
    {"templ", Type::text, "", "name of a template that is loaded ahead of `params`; Pulsar has none",
     "имя шаблона, который загружается до `params`; у Пульсара шаблонов нет"},
    {"params", Type::list, "",
     "the parameters; one must come of template and `params` together at least, but for Zigbee behind a bridge",
     "параметры; из шаблона и `params` вместе должен получиться хотя бы один, кроме Zigbee за мостом"},
};

/// The constructor tells an absent one itself.
constexpr keys::Key address_table[] = {
    {"sid", keys::code<&CAddressDev::sid>, "", "the address on the line; its low byte goes out",
     "адрес на линии; передаётся младший байт", keys::Overlay::ignored, "#%s : ctor : не указан аргумент 'sid'."},
};

constexpr char const* parities[] = {"none", "odd", "even", "mark", "space"};
constexpr char const* flow_controls[] = {"none", "software", "hardware"};

/// Of the object `rs`, which the serial line reads itself.
constexpr keys::Key serial_table[] = {
    {"path", Type::text, "", "the device; a port must have it, a device takes its port's",
     "устройство; для порта обязательно, у устройства берётся от порта"},
    {"baudrate", Type::natural, "9600", "any rate that the line accepts", "любая скорость, доступная линии",
     keys::Overlay::ignored, nullptr, "", keys::any_text, 1},
    {"bytesize", Type::integer, "8", "data bits", "биты данных", keys::Overlay::ignored, nullptr, "", keys::any_text, 5,
     8},
    {"parity", Type::text, "none", "parity", "чётность", keys::Overlay::ignored, nullptr, "", parities},
    {"stopbits", Type::number, "1", "stop bits: 1, 1.5 or 2", "стоповые биты: 1, 1.5 или 2", keys::Overlay::ignored,
     nullptr, "", keys::any_text, 1, 2, 0.5},
    {"flowcontrol", Type::text, "none", "flow control", "управление потоком", keys::Overlay::ignored, nullptr, "",
     flow_controls},
};

[[maybe_unused]] bool const described = CBFac::key_map().emplace("rs", keys::Tables{serial_table}).second;

}  // namespace

CPort::CPort(Json::Value& node) : CBase(nullptr, node) {
    read_transport(node);
    if (!type_has("base")) {
        return;
    }
    Load(this, node, "devices", suffix_cdev, "");
    if (children.empty()) {
        throw xExceptionf("#%s : список устройств пуст.", name);
    }
}

keys::Tables CPort::key_tables() {
    return CBase::key_tables() + port_table;
}

void CPort::read_transport(Json::Value& node) {
    if (type_has("rs")) {
        rs = xserial::xco(node);
        if (!rs.validate()) {
            throw xExceptionf("#%s : ctor : невалидные настройки rs-порта.", name);
        }
    } else if (type_has("tcp")) {
        if (jUtils::has(node, "tcp")) {
            tcp_set const peer(node["tcp"], "127.0.0.1", 0);
            url = peer.url;
            port = peer.port;
        } else {
            url = jUtils::get_string(node, "url", "");
            port = jUtils::get_int(node, "port", -1);
        }
    } else if (type_has("z2t")) {
        address = jUtils::get_string(jUtils::at(node, "zigbee"), "address", "");
        if (address.empty()) {
            throw xExceptionf("#%s : ctor : невалидные настройки zigbee-порта", name);
        }
        z2t_id = xCommon::xString::Format("%s_%s", name, address);
        tell_unusable(z2t_id);
    }
}

CBase* CPort::get_device(std::string const& topic) {
    if (topic.empty()) {
        return nullptr;
    }
    for (auto const& child : children) {
        if (topic.find("/devices/" + child->name) != std::string::npos) {
            return child.get();
        }
    }
    return nullptr;
}

CDev::CDev(CBase* parent_node, Json::Value& node) : CBase(parent_node, node) {
    personal_rs = jUtils::has(node, "rs");
    if (personal_rs) {
        rs = xserial::xco(node);
    }
    keys::read(device_table, *this, node);
}

keys::Tables CDev::key_tables() {
    return CBase::key_tables() + device_table;
}

void CDev::load_list(Json::Value& node, std::string const& type_word, std::string const& list_word) {
    std::string const templ = jUtils::get_string(node, "templ", "");
    if (!templ.empty()) {
        Logf(xCommon::lmtTrace, "загрузка шаблона : %s.", templ);
        LoadTemplate(templ, this, type_word);
    }
    Load(this, node, "params", suffix_cparam, list_word.empty() ? type_word : list_word);
}

void CDev::load_params(Json::Value& node, std::string const& type_word, char const* label,
                       std::string const& list_word) {
    load_list(node, type_word, list_word);
    if (children.empty()) {
        throw xExceptionf("#%s : %s : устройство не содержит ни одного параметра.", name, label);
    }
}

void CDev::check_port(std::string const& head) const {
    if (parent == nullptr) {
        throw xExceptionf(xCommon::RuntimeFormat(head + " : не указан порт."), name);
    }
}

CAddressDev::CAddressDev(CBase* port_node, Json::Value& node, std::string const& head)
    : CDev(port_node, node), port(port_node) {
    check_port(head);
    if (!jUtils::has(node, "sid")) {
        throw xExceptionf(xCommon::RuntimeFormat(head + " : не указан аргумент 'sid'."), name);
    }
    keys::read(address_table, *this, node);
    name = xCommon::xString::Format("%s_%d", name, sid);
}

keys::Tables CAddressDev::key_tables() {
    return CDev::key_tables() + address_table;
}
