#include "drivers/emera/config.h"

#include <algorithm>

#include "config/constants.h"
#include "config/keys.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

namespace emera {

using xCommon::jUtils;
using xCommon::xExceptionf;

namespace {

const std::string type_word = "emera";

/// An empty text counts as none.
template <auto Member>
void filled_text(xCommon::LogItem& node, Json::Value const& json, keys::Key const& key) {
    keys::of<Member>.read(node, json, key);
    if (keys::member<Member>(node).empty()) {
        throw xExceptionf(xCommon::RuntimeFormat(key.missing), node.name);
    }
}

void read_offset(xCommon::LogItem& node, Json::Value const& json, keys::Key const& key) {
    int& offset = keys::member<&ecparam::offset>(node);
    offset = std::max(jUtils::get_int(json, key.name, offset), 0);
}

using keys::Overlay;
using keys::Type;

constexpr keys::Key device_table[] = {
    {"sid", keys::Value(Type::text, filled_text<&ecdev::sid>), "", "the meter's address, as text in each request",
     "адрес счётчика, текстом в каждом запросе", Overlay::ignored, "#%s : ctor : не указан аргумент 'sid'."},
};

constexpr keys::Key table[] = {
    {"cmd", keys::Value(Type::text, filled_text<&ecparam::cmd>), "",
     "the register as it goes out, with its brackets; may hold `%day%`, `%month%` and `%year%`",
     "регистр в том виде, как передаётся, со скобками; может содержать `%day%`, `%month%` и `%year%`", Overlay::taken,
     "#%s : ctor : не указан аргумент 'cmd'."},
    {"offset", keys::Value(Type::integer, read_offset), "0",
     "which bracket of the answer to take, from 0; below 0 counts as 0",
     "какую скобку ответа брать, с 0; меньше 0 считается нулём", Overlay::taken},
};

CBFac const registrars[] = {CBFac::add<ecdev>("emera.cdev", device_table), CBFac::add<ecparam>("emera.cparam", table)};

}  // namespace

ecdev::ecdev(CBase* port_node, Json::Value& node) : CDev(port_node, node) {
    check_port();
    keys::read(device_table, *this, node);
    tell_unusable(sid);
    load_params(node, type_word);
}

ecparam::ecparam(CBase* device, Json::Value& node) : CParam(device, node) {
    keys::read(table, *this, node);
}

void ecparam::Compare(Json::Value& node) {
    if (node.empty()) {
        return;
    }
    std::string const old_cmd = cmd;
    try {
        keys::lay_over(table, *this, node);
    } catch (...) {
        cmd = old_cmd;
        throw;
    }
    CParam::Compare(node);
}

}  // namespace emera
