#include "drivers/milur/config.h"

#include "config/constants.h"
#include "config/keys.h"
#include "config/utils.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace milur {

using xCommon::jUtils;
using xCommon::xExceptionf;
using xCommon::xString;

namespace {

const std::string type_word = "milur";

constexpr keys::Key table[] = {
    {"object_id", keys::of<&c_param::object_id>, "", "number of the object; its low byte goes on the wire",
     "номер объекта; в линию идёт младший байт", keys::Overlay::taken,
     "milur::c_param::ctor : %s : не указан атрибут 'object_id'."},
};

struct ValueRow {
    int value_type;
    int bytes;
    std::string (*text)(unsigned char const* b, int bytes);
};

std::string signed_text(unsigned char const* b, int bytes) {
    return xString::Format("%d", static_cast<int>(Utils::LE_int(b, bytes)));
}

std::string unsigned_text(unsigned char const* b, int bytes) {
    return xString::Format("%u", static_cast<unsigned int>(Utils::LE_int(b, bytes)));
}

std::string digits(unsigned char const* b, int /*bytes*/) {
    return Utils::LE_bcd32(b);
}

/// Three bytes carry no sign to begin with, so that "i24" never reads as negative: installations count on it.
constexpr ValueRow value_rows[] = {{vt_i32, 4, signed_text},
                                   {vt_u16, 2, unsigned_text},
                                   {vt_u24, 3, unsigned_text},
                                   {vt_i24, 3, signed_text},
                                   {vt_bcd32, 4, digits}};

CBFac const registrars[] = {CBFac::add<c_dev>("milur.cdev"), CBFac::add<c_param>("milur.cparam", table)};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node) : CAddressDev(port_node, node, "milur::c_dev::ctor : #%s") {
    std::string const templ = jUtils::get_string(node, "templ", "");
    if (!templ.empty()) {
        Logf(xCommon::lmtTrace, "milur::c_dev::ctor : загрузка шаблона : %s.", templ);
        LoadTemplate(templ, this, type_word);
    }
    Load(this, node, "params", suffix_cparam, type_word);
    if (children.empty()) {
        throw xExceptionf("milur::c_dev::ctor : #%s : устройство не содержит ни одного параметра.", name);
    }
}

c_param::c_param(CBase* device, Json::Value& node) : CParam(device, node) {
    keys::read(table, *this, node);
}

std::span<keys::Key const> c_param::own_keys() const {
    return table;
}

std::string c_param::getValueFromBuf(unsigned char const* b, int n) const {
    if (b == nullptr || n <= 0) {
        throw xExceptionf("milur::getValueFromBuf : %s # пустое значение.", name);
    }
    for (ValueRow const& row : value_rows) {
        if (row.value_type != value_type) {
            continue;
        }
        if (n < row.bytes) {
            throw xExceptionf("milur::getValueFromBuf : %s # буфер слишком мал для значения.", name);
        }
        return row.text(b, row.bytes);
    }
    throw xExceptionf("milur::getValueFromBuf : недопустимый value_type %d.", value_type);
}

}  // namespace milur
