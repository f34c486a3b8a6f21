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

}  // namespace

cad::cad(uint16_t class_number, std::string const& object_id, uint8_t attribute)
    : class_id(class_number), attr_id(attribute) {
    parse_object_id(object_id);
}

cad::cad(Json::Value const& node) {
    if (node.empty()) {
        throw xException("cad::ctor : описатель пуст.");
    }
    for (char const* key : {"class_id", "object_id", "attr_id"}) {
        if (!jUtils::has(node, key)) {
            throw xCommon::xExceptionf("cad::ctor : не указан '%s'.", key);
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
