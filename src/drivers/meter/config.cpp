#include "drivers/meter/config.h"

#include "config/keys.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace meter {

using xCommon::xExceptionf;

namespace {

/// The constructor tells an absent one itself, with the head of its family.
constexpr keys::Key table[] = {
    {"sid", keys::code<&c_dev::sid>, "", "the meter's address; its low byte goes on the wire",
     "адрес счётчика; в линию идёт младший байт", keys::Overlay::ignored, "#%s : ctor : не указан аргумент 'sid'."},
};

}  // namespace

c_dev::c_dev(CBase* port_node, Json::Value& node, std::string const& error_head)
    : CDev(port_node, node), port(port_node) {
    if (port == nullptr) {
        throw xExceptionf(xCommon::RuntimeFormat(error_head + " : не указан порт."), name);
    }
    if (!xCommon::jUtils::has(node, "sid")) {
        throw xExceptionf(xCommon::RuntimeFormat(error_head + " : не указан аргумент 'sid'."), name);
    }
    keys::read(table, *this, node);
    name = xCommon::xString::Format("%s_%d", name, sid);
}

keys::Tables c_dev::key_tables() {
    return CDev::key_tables() + table;
}

}  // namespace meter
