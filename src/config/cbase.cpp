#include "config/cbase.h"

#include <utility>

#include "config/constants.h"
#include "config/cparam.h"
#include "config/keys.h"
#include "config/load_scope.h"
#include "config/process.h"
#include "config/utils.h"
#include "foundation/jutils.h"
#include "foundation/xexception.h"

using xCommon::jUtils;
using xCommon::lmtError;
using xCommon::lmtTrace;
using xCommon::xException;

namespace {

using keys::Overlay;
using keys::Type;

constexpr keys::Key table[] = {
    {"name", Type::text, keys::required, "a name, shown in the log and in topics", "имя, видно в журнале и в топиках"},
    {"type", keys::of<&CBase::type>, "^", "the kind; a port and a device of `base` ports have to tell it",
     "вид; у портов и устройств портов `base` обязателен"},
    {"enabled", keys::of<&CBase::enabled>, "^true", "false: it isn't polled and takes no writes",
     "false: не опрашивается и не принимает записи"},
    {"poll_interval", keys::of<&CBase::poll_interval>, "^60", "least distance between two polls; 0: at every pass",
     "наименьшее время между опросами; 0: в каждом проходе", Overlay::taken, nullptr, "s"},
    {"rto", keys::of<&CBase::rto>, "^500", "time-out for an answer", "тайм-аут ответа", Overlay::taken, nullptr, "ms"},
    {"sto", keys::of<&CBase::sto>, "^500", "time-out for sending; on TCP also for connecting, at least 1 s",
     "тайм-аут отправки; для TCP и соединения, не меньше 1 с", Overlay::taken, nullptr, "ms"},
    {"poll_reconnect", keys::of<&CBase::poll_reconnect>, "^false",
     "the line is opened for each poll of a device and closed behind it",
     "линия открывается на каждый опрос устройства и затем закрывается", Overlay::taken},
    {"silent_probe", keys::of<&CBase::silent_probe>, "^false",
     "a device that is away is asked for one parameter a pass",
     "у пропавшего устройства за проход опрашивается один параметр"},
};

}  // namespace

CBase::CBase(std::string const& node_name) : LogItem(nullptr, node_name), parent(nullptr) {}

CBase::CBase(CBase* parent_node, Json::Value& node) : LogItem(parent_node), parent(parent_node) {
    if (node.empty()) {
        throw xException("ctor : узел конфига пуст.");
    }
    name = jUtils::get_string(node, "name", "");
    if (name.empty()) {
        throw xException("ctor : узел конфига не имеет имени.");
    }
    if (parent != nullptr) {
        type = parent->type;
        enabled = parent->enabled;
        poll_interval = parent->poll_interval;
        rto = parent->rto;
        sto = parent->sto;
        poll_reconnect = parent->poll_reconnect;
        silent_probe = parent->silent_probe;
    }
    keys::read(table, *this, node);
    // Behind a bridge only parameters bear their own names in topics.
    bool const is_in_topics = type.find("z2t") == std::string::npos || (parent != nullptr && parent->parent != nullptr);
    if (is_in_topics) {
        tell_unusable(name);
    }
}

void CBase::tell_unusable(std::string const& topic_part) const {
    bool is_in_use = enabled;
    for (CBase const* node = parent; node != nullptr; node = node->parent) {
        is_in_use = is_in_use && node->enabled;
    }
    if (is_in_use) {
        Utils::tell_unusable_name(*this, topic_part);
    }
}

keys::Tables CBase::key_tables() {
    return {table};
}

int CBase::Load(CBase* parent_node, Json::Value& node, std::string const& list_name, std::string const& suffix,
                std::string const& default_type) {
    Logf(lmtTrace, "Load : загрузка списка : %s.", list_name);
    if (node.empty()) {
        Log(lmtError, "Load : узел пуст.");
        return 0;
    }
    if (list_name.empty()) {
        Log(lmtError, "Load : не указано имя списка.");
        return 0;
    }
    if (jUtils::has(node, list_name.c_str())) {
        Json::Value& list = node[list_name];
        if (!list.isArray()) {
            Logf(lmtError, "Load : %s : не является списком.", list_name);
        } else {
            // The first child of each name answers for it, as in a search through the list from its beginning.
            std::map<std::string, CBase*> by_name;
            for (auto const& child : children) {
                by_name.emplace(child->name, child.get());
            }
            for (Json::Value& item : list) {
                load_element(parent_node, item, suffix, default_type, by_name);
            }
        }
    }
    if (children.empty()) {
        Log(lmtError, "Load : список пуст.");
        return 0;
    }
    return 1;
}

void CBase::load_element(CBase* parent_node, Json::Value& item, std::string const& suffix,
                         std::string const& default_type, std::map<std::string, CBase*>& by_name) {
    LoadScope scope(item);
    std::string key = suffix;
    std::string shown_name = "nnm";
    try {
        std::string const item_name = jUtils::get_string(item, "name", "");
        if (item_name.empty()) {
            Log(lmtError, "Load : элемент без имени будет пропущен.");
            return;
        }
        std::string const word = jUtils::get_string(item, "type", default_type);
        if (word.empty()) {
            // The placeholder stays unfilled: installations look for the line as it stands.
            Log(lmtError, "Load : %s : элемент без типа будет пропущен.");
            return;
        }
        key = word + suffix;
        scope.class_key = key;
        auto const found = by_name.find(item_name);
        if (found != by_name.end()) {
            if (auto* param = dynamic_cast<CParam*>(found->second)) {
                shown_name = item_name;
                scope.node = param;
                scope.is_overlay = true;
                param->Compare(item);
                return;
            }
        }
        auto const creator = CBFac::stone_map().find(key);
        if (creator == CBFac::stone_map().end()) {
            Logf(lmtError, "Load : %s : тип элемента не найден : %s. Элемент будет пропущен.", item_name, key);
            return;
        }
        std::unique_ptr<CBase> child = creator->second(parent_node, item);
        if (child) {
            scope.node = child.get();
            by_name.emplace(child->name, child.get());
            children.push_back(std::move(child));
        }
    } catch (std::exception const& e) {
        Logf(lmtError, "%s : %s : исключение при парсинге элемента : %s", key, shown_name, e.what());
    }
}

void CBase::LoadTemplate(std::string const& template_name, CBase* parent_node, std::string const& default_type) {
    if (template_name.empty()) {
        return;
    }
    try {
        std::string const path = xCommon::xString::Format("%s/%s.json", templates_folder(), template_name);
        Json::Value document = jUtils::Load(path);
        LoadScope scope(document);
        scope.file = path;
        if (!document.isObject()) {
            throw xException("шаблон не является объектом");
        }
        std::string const own_name = jUtils::get_string(document, "name", "");
        if (own_name != template_name) {
            parent_node->Logf(lmtError,
                              "имя шаблона не совпадает с именем из шаблона : %s != %s.\nШаблон обработан не будет.",
                              template_name, own_name);
            return;
        }
        Load(parent_node, document, "params", suffix_cparam, default_type);
    } catch (std::exception const&) {
        Logf(lmtError, "ошибка при обработке шаблона '%s'.", template_name);
    }
}

CBFac::CBFac(std::string const& key, Creator creator) {
    stone_map().emplace(key, creator);
}

std::map<std::string, keys::Tables>& CBFac::key_map() {
    static auto* const map = new std::map<std::string, keys::Tables>;
    return *map;
}

CBFac::Map& CBFac::stone_map() {
    static auto* const map = new Map;  // never destroyed: workers may still run while the process ends
    return *map;
}
