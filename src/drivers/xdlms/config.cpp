#include "drivers/xdlms/config.h"

#include "config/constants.h"
#include "config/keys.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"
#include "foundation/xstring.h"

namespace xdlms {

using xCommon::ByteList;
using xCommon::jUtils;
using xCommon::WordOrder;
using xCommon::xExceptionf;
using xCommon::xString;

namespace {

const std::string type_word = "dlms";

CBFac const registrars[] = {CBFac::add<dparam>("dlms.cparam"), CBFac::add<cddev>("dlms.cdev"),
                            CBFac::add<cdport>("dlms.tcp.cport"), CBFac::add<cdport>("dlms.rs.cport"),
                            CBFac::add<cdport>("dlms.rs.old.cport")};

template <auto Member>
void read_mac(xCommon::LogItem& node, Json::Value const& json, keys::Key const& key) {
    xString::string_to_hex(keys::member<Member>(node), jUtils::get_string(json, key.name, key.fallback));
}

using keys::Type;

constexpr keys::Key device_table[] = {
    {"dlms_addr", Type::integer, keys::integer<&cddev::dlms_addr>, "0",
     "wrapper address; settled by the port at its start, leave it out",
     "адрес обёртки; порт определяет его при запуске, не указывать"},
    {"mac_addr", Type::text, read_mac<&cddev::mac>, "",
     "link address in hexadecimal; settled by the port at its start, leave it out",
     "адрес канального уровня в шестнадцатеричном виде; порт определяет его при запуске, не указывать"},
    {"sn", Type::text, keys::text<&cddev::sn>, "", "serial number, by which the meter is addressed or found",
     "серийный номер, по нему счётчик адресуется или находится"},
};

constexpr keys::Key port_table[] = {
    {"dlms_addr", Type::integer, keys::integer<&cdport::dlms_addr>, "1", "the gateway's own wrapper address",
     "собственный адрес обёртки шлюза"},
    {"mac_addr", Type::text, read_mac<&cdport::mac>, "eeeeeeeeeeee",
     "the gateway's own MAC, in hexadecimal; serial ports only",
     "собственный MAC шлюза в шестнадцатеричном виде; только для последовательных портов"},
    {"poll_delay", Type::integer, keys::integer<&cdport::poll_delay>, "0", "has no effect", "ни на что не влияет"},
};

cddev* device_of(CBase* node, std::string const& name) {
    auto* const device = dynamic_cast<cddev*>(node);
    if (device == nullptr) {
        throw xExceptionf("#%s : dparam.ctor : не указан 'cdev'.", name);
    }
    return device;
}

void push_text(ByteList& out, size_t length, std::string const& text) {
    out.push_8(static_cast<unsigned char>(length));
    out.push_string(text);
}

}  // namespace

dparam::dparam(CBase* parent_node, Json::Value& node)
    : CParam(parent_node, node), address(node), device(device_of(parent_node, name)) {}

keys::Tables dparam::key_tables() {
    return CParam::key_tables() + cad::key_table();
}

void dparam::Compare(Json::Value& node) {
    address.compare(node);
    CParam::Compare(node);
}

void dparam::set_data(ByteList& out, std::string const& value) {
    if (value_type == vt_none || value.empty()) {
        return;
    }
    constexpr auto order = WordOrder::big_endian;
    out.push_8(static_cast<unsigned char>(value_type));
    switch (value_type) {
        case vt_bit:
            out.push_8(value == "1" ? 1 : 0);
            break;
        case vt_i32:
            out.push_32(static_cast<unsigned int>(std::stoi(value)), order);
            break;
        case vt_u32:
            out.push_32(xString::stoul32(value), order);
            break;
        case vt_i8:
            out.push_8(static_cast<unsigned char>(std::stoi(value)));
            break;
        case vt_i16:
            out.push_16(static_cast<unsigned short>(std::stoi(value)), order);
            break;
        case vt_u8:
            out.push_8(static_cast<unsigned char>(xString::stoul32(value)));
            break;
        case vt_u16:
            out.push_16(static_cast<unsigned short>(xString::stoul32(value)), order);
            break;
        case vt_float32:
            out.push_float(std::stof(value), order);
            break;
        case vt_str:
            push_text(out, value.size(), value);
            break;
        // Their lengths aren't checked against the text.
        case vt_str2:
            push_text(out, 2, value);
            break;
        case vt_str4:
            push_text(out, 4, value);
            break;
        default:
            break;
    }
}

cddev::cddev(CBase* port_node, Json::Value& node) : CDev(port_node, node) {
    if (port_node == nullptr) {
        throw xExceptionf("#%s : cddev.ctor : не указан порт.", name);
    }
    keys::read(device_table, *this, node);
    load_params(node, type_word, "cddev.ctor");
}

keys::Tables cddev::key_tables() {
    return CDev::key_tables() + device_table;
}

dparam* cddev::find_param(std::string const& topic) {
    if (topic.empty()) {
        return nullptr;
    }
    for (auto const& child : children) {
        auto* const param = dynamic_cast<dparam*>(child.get());
        if (param != nullptr && topic.find("/controls/" + param->name) != std::string::npos) {
            return param;
        }
    }
    return nullptr;
}

cdport::cdport(Json::Value& node) : CPort(node) {
    keys::read(port_table, *this, node);
    Load(this, node, "devices", suffix_cdev, type_word);
    if (children.empty()) {
        throw xExceptionf("#%s : ctor : список устройств пуст.", name);
    }
}

keys::Tables cdport::key_tables() {
    return CPort::key_tables() + port_table;
}

}  // namespace xdlms
