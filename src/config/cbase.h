#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include <json/value.h>

#include "foundation/xlog.h"

namespace keys {
struct Key;
using Tables = std::vector<std::span<Key const>>;
}  // namespace keys

/// A node of the configuration tree. The tree is built once, on the main thread, and lives to the end of the process;
/// afterwards only the worker of the port that a node belongs to writes its few run-time fields.
class CBase : public xCommon::LogItem {
 public:
    /// Reads `name`, `type`, `enabled`, `poll_interval` (s), `rto` and `sto` (ms), `poll_reconnect` and
    /// `silent_probe`; a key that is absent takes the parent's value. Raises xException for an empty node or one
    /// without a name.
    CBase(CBase* parent_node, Json::Value& node);
    /// A node that only holds a list.
    explicit CBase(std::string const& node_name);

    /// Makes a child of each element of the array `list_name` of `node`: by the element's `type` (or `default_type`)
    /// plus `suffix` from CBFac, with `parent` as the creator's first argument. An element that bears the name of a
    /// CParam which is already a child is laid over that one. A bad element costs a line in the log and itself only.
    /// 1 if this node ends with at least one child, else 0.
    virtual int Load(CBase* parent, Json::Value& node, std::string const& list_name, std::string const& suffix,
                     std::string const& default_type);
    /// Loads the parameters of a template file into this node; an empty name does nothing. Failures are logged, and
    /// the device goes on without the template.
    virtual void LoadTemplate(std::string const& template_name, CBase* parent, std::string const& default_type);
    static keys::Tables key_tables();
    /// For constructors: a line for what can't be part of a topic, where the node is enabled.
    void tell_unusable(std::string const& topic_part) const;

    std::string type;
    bool enabled = true;
    int poll_interval = 60;
    int rto = 500;
    int sto = 500;
    bool poll_reconnect = false;
    bool silent_probe = false;
    bool all_params = false;
    /// When this node was last polled, calendar seconds.
    long long last_poll = 0;
    CBase* parent;
    std::vector<std::unique_ptr<CBase>> children;

    /// The due test of the whole program: `poll_interval` has passed since `last_poll`. A time in the future (the clock
    /// was set back) counts as due, or the node would stay silent until the clock has caught up.
    bool is_due(long long now) const { return now < last_poll || now - last_poll >= poll_interval; }

 private:
    void load_element(CBase* parent_node, Json::Value& item, std::string const& suffix, std::string const& default_type,
                      std::map<std::string, CBase*>& by_name);
};

/// Gives a class its static create(), which the registry calls.
template <typename T>
struct FromJson {
    static std::unique_ptr<CBase> create(CBase* parent, Json::Value& node) {
        if constexpr (std::is_constructible_v<T, CBase*, Json::Value&>) {
            return std::make_unique<T>(parent, node);
        } else {
            return std::make_unique<T>(node);
        }
    }
};

/// Registrar of configuration classes: a static object of it in a driver enters the pair before main begins. The first
/// registration of a key stands.
class CBFac {
 public:
    using Creator = std::unique_ptr<CBase> (*)(CBase* parent, Json::Value& node);
    using Map = std::map<std::string, Creator>;

    CBFac(std::string const& key, Creator creator);
    /// Enters the class T by its static create(); `own` are its tables of keys behind those of its base.
    template <typename T, typename... Own>
    static CBFac add(std::string const& key, Own const&... own) {
        keys::Tables tables = T::key_tables();
        (tables.push_back(own), ...);
        key_map().emplace(key, tables);
        return {key, T::create};
    }
    /// Key to the tables of the class's keys, those of its bases first.
    static std::map<std::string, keys::Tables>& key_map();
    /// Key (type word plus suffix) to creator. Made at its first use, whatever the order of static initialisation.
    static Map& stone_map();
};
