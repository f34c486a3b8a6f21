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
using xCommon::xException;
using xCommon::xExceptionf;
using xCommon::xString;

namespace {

const std::string type_word = "dlms";
constexpr size_t name_size = 6;

template <auto Member>
void read_mac(xCommon::LogItem& node, Json::Value const& json, keys::Key const& key) {
    xString::string_to_hex(keys::member<Member>(node), jUtils::get_string(json, key.name, key.fallback));
}

using keys::Overlay;
using keys::Type;

/// No readers: an address is no node of its own.
constexpr keys::Key address_table[] = {
    {"class_id", Type::integer, "", "interface class of the object: 1 data, 3 register, 4 extended register, 8 clock",
     "класс объекта: 1 данные, 3 регистр, 4 расширенный регистр, 8 часы", Overlay::taken,
     "cad::ctor : не указан 'class_id'."},
    {"object_id", Type::text, "", "logical name (OBIS code): six decimal numbers with points between them",
     "логическое имя (код OBIS): шесть десятичных чисел через точку", Overlay::ignored,
     "cad::ctor : не указан 'object_id'."},
    {"attr_id", Type::integer, "", "attribute: mostly 2, the value; 3 of a register is its scaler and unit",
     "атрибут: обычно 2, значение; 3 у регистра: множитель и единица", Overlay::taken,
     "cad::ctor : не указан 'attr_id'."},
};

constexpr keys::Key device_table[] = {
    {"dlms_addr", keys::of<&cddev::dlms_addr>, "0", "wrapper address; settled by the port at its start, leave it out",
     "адрес обёртки; порт определяет его при запуске, не указывать"},
    {"mac_addr", keys::Value(Type::text, read_mac<&cddev::mac>), "",
     "must not be given: on a serial port the address made of the serial number is appended to it, over TCP it has no "
     "effect",
     "не указывать: на последовательном порту к нему дописывается адрес, полученный из серийного номера, по TCP ни на "
     "что не влияет"},
    {"sn", keys::of<&cddev::sn>, "", "serial number, by which the meter is addressed or found",
     "серийный номер, по нему счётчик адресуется или находится"},
};

constexpr keys::Key port_table[] = {
    {"dlms_addr", keys::of<&cdport::dlms_addr>, "1", "the gateway's own wrapper address",
     "собственный адрес обёртки шлюза"},
    {"mac_addr", keys::Value(Type::text, read_mac<&cdport::mac>), "eeeeeeeeeeee",
     "the gateway's own MAC, in hexadecimal; serial ports only",
     "собственный MAC шлюза в шестнадцатеричном виде; только для последовательных портов"},
    {"poll_delay", keys::of<&cdport::poll_delay>, "0", "has no effect", "ни на что не влияет"},
};

void push_text(ByteList& out, size_t length, std::string const& text) {
    out.push_8(static_cast<unsigned char>(length));
    out.push_string(text);
}

CBFac const registrars[] = {
    CBFac::add<dparam>("dlms.cparam", address_table), CBFac::add<cddev>("dlms.cdev", device_table),
    CBFac::add<cdport>("dlms.tcp.cport", port_table), CBFac::add<cdport>("dlms.rs.cport", port_table),
    CBFac::add<cdport>("dlms.rs.old.cport", port_table)};

}  // namespace

cad::cad(uint16_t class_number, std::string const& object_id, uint8_t attribute)
    : class_id(class_number), attr_id(attribute) {
    parse_object_id(object_id);
}

cad::cad(Json::Value const& node) {
    if (node.empty()) {
        throw xException("cad::ctor : описатель пуст.");
    }
    for (keys::Key const& key : address_table) {
        if (!jUtils::has(node, key.name)) {
            throw xException(key.missing);
        }
    }
    class_id = static_cast<uint16_t>(jUtils::get_int(node, "class_id", 0));
    attr_id = static_cast<uint8_t>(jUtils::get_int(node, "attr_id", 0));
    parse_object_id(jUtils::get_string(node, "object_id", ""));
}

void cad::parse_object_id(std::string const& object_id) {
    if (object_id.empty()) {
        throw xException("cad::ctor : не указан 'object_id'.");
    }
    std::vector<std::string> const pieces = xString::Split(object_id, ".");
    if (pieces.size() != name_size) {
        throw xExceptionf("cad::ctor : %s : 'object_id' не содержит 6 элементов.", object_id);
    }
    ByteList name;
    for (std::string const& piece : pieces) {
        name.push_8(static_cast<unsigned char>(std::stoi(piece)));
    }
    object.pop_list(name);
}

void cad::to_list(ByteList& out) const {
    out.push_16(class_id, WordOrder::big_endian);
    out.pop_list(object);
    out.push_8(attr_id);
}

void cad::compare(Json::Value const& node) {
    class_id = static_cast<uint16_t>(jUtils::get_int(node, "class_id", class_id));
    attr_id = static_cast<uint8_t>(jUtils::get_int(node, "attr_id", attr_id));
    std::string const object_id = jUtils::get_string(node, "object_id", "");
    if (xString::Split(object_id, ".").size() == name_size) {
        parse_object_id(object_id);
    }
}

dparam::dparam(CBase* parent_node, Json::Value& node)
    : CParam(parent_node, node), address(node), device(dynamic_cast<cddev*>(parent_node)) {
    if (device == nullptr) {
        throw xExceptionf("#%s : dparam.ctor : не указан 'cdev'.", name);
    }
}

void dparam::Compare(Json::Value& node) {
    address.compare(node);
    CParam::Compare(node);
}

void dparam::set_data(ByteList& out, std::string const& value) const {
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

dparam* cddev::find_param(std::string const& topic) {
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

}  // namespace xdlms
