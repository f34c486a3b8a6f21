#include "config/cport.h"

#include "config/config.h"
#include "config/constants.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

using xCommon::jUtils;
using xCommon::xExceptionf;

namespace {

CBFac const registrars[] = {CBFac::add<CPort>("base.cport"), CBFac::add<CPort>("base.rs.cport"),
                            CBFac::add<CPort>("base.tcp.cport"), CBFac::add<CPort>("base.z2t.cport"),
                            CBFac::add<CPort>("base.null.cport")};

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
    display_name = jUtils::get_string(node, "display_name", "");
    if (type == "mb-tcp" || type == "mb-rtu") {
        all_params = jUtils::get_bool(node, "all_params", false);
    }
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
