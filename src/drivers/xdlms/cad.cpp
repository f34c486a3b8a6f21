#include "drivers/xdlms/cad.h"

#include <vector>

#include "foundation/jutils.h"
#include "foundation/xexception.h"
#include "foundation/xstring.h"

namespace xdlms {

using xCommon::jUtils;
using xCommon::WordOrder;
using xCommon::xException;
using xCommon::xString;

namespace {

constexpr size_t name_size = 6;

using keys::Overlay;
using keys::Type;

/// No readers: an address is no node of its own.
constexpr keys::Key table[] = {
    {"class_id", Type::integer, nullptr, "",
     "interface class of the object: 1 data, 3 register, 4 extended register, 8 clock",
     "класс объекта: 1 данные, 3 регистр, 4 расширенный регистр, 8 часы", Overlay::taken,
     "cad::ctor : не указан 'class_id'."},
    {"object_id", Type::text, nullptr, "", "logical name (OBIS code): six decimal numbers with points between them",
     "логическое имя (код OBIS): шесть десятичных чисел через точку", Overlay::ignored,
     "cad::ctor : не указан 'object_id'."},
    {"attr_id", Type::integer, nullptr, "", "attribute: mostly 2, the value; 3 of a register is its scaler and unit",
     "атрибут: обычно 2, значение; 3 у регистра: множитель и единица", Overlay::taken,
     "cad::ctor : не указан 'attr_id'."},
};

}  // namespace

cad::cad(uint16_t class_number, std::string const& object_id, uint8_t attribute)
    : class_id(class_number), attr_id(attribute) {
    parse_object_id(object_id);
}

cad::cad(Json::Value const& node) {
    if (node.empty()) {
        throw xException("cad::ctor : описатель пуст.");
    }
    for (keys::Key const& key : table) {
        if (!jUtils::has(node, key.name)) {
            throw xException(key.missing);
        }
    }
    class_id = static_cast<uint16_t>(jUtils::get_int(node, "class_id", 0));
    attr_id = static_cast<uint8_t>(jUtils::get_int(node, "attr_id", 0));
    parse_object_id(jUtils::get_string(node, "object_id", ""));
}

std::span<keys::Key const> cad::key_table() {
    return table;
}

void cad::parse_object_id(std::string const& object_id) {
    if (object_id.empty()) {
        throw xException("cad::ctor : не указан 'object_id'.");
    }
    std::vector<std::string> const pieces = xString::Split(object_id, ".");
    if (pieces.size() != name_size) {
        throw xCommon::xExceptionf("cad::ctor : %s : 'object_id' не содержит 6 элементов.", object_id);
    }
    xCommon::ByteList name;
    for (std::string const& piece : pieces) {
        name.push_8(static_cast<unsigned char>(std::stoi(piece)));
    }
    object.pop_list(name);
}

void cad::to_list(xCommon::ByteList& out) const {
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

}  // namespace xdlms
