#pragma once

#include <map>
#include <memory>
#include <string>

#include <json/value.h>

#include "config/cbase.h"

class DevBase;

/// Interface of the run-time tree. Every operation has a neutral default, so that a caller needs no test whether a
/// driver overrides it.
class IBase {
 public:
    IBase(IBase* parent_object, CBase* node) : parent(parent_object), cfg(node) {}
    virtual ~IBase() = default;
    IBase(IBase const&) = delete;
    IBase& operator=(IBase const&) = delete;

    virtual bool Start() { return true; }
    virtual void Stop() {}
    virtual void Restart();
    virtual void Worker() {}
    virtual void Poll(long long /*now*/) {}
    virtual void ProcConnect() {}
    virtual void ProcDisconnect(long long /*now*/) {}
    /// A message of the broker; false passes it on to the next device.
    virtual bool ProcMessage(std::string& /*topic*/, std::string& /*payload*/) { return true; }
    /// One member of a message that is a JSON object.
    // NOLINTNEXTLINE(performance-unnecessary-value-param): a device may keep or change its copy
    virtual bool ProcMessage(std::string const& /*topic*/, std::string const& /*key*/, Json::Value /*value*/) {
        return true;
    }
    virtual void CheckMessage(DevBase* /*dev*/) {}
    virtual void ProcTimer(long long /*now*/) {}

    IBase* parent;
    /// The configuration node of the object.
    CBase* cfg;
};

/// Gives a class its static create(), which the registry calls.
template <typename T>
struct FromNode {
    // A class may keep its base to itself and make this one a friend.
    static std::unique_ptr<IBase> create(IBase* parent, CBase* node) {
        return std::unique_ptr<IBase>(new T(parent, node));
    }
};

/// Registrar of run-time classes, as CBFac.
class IBFac {
 public:
    using Creator = std::unique_ptr<IBase> (*)(IBase* parent, CBase* node);
    using Map = std::map<std::string, Creator>;

    IBFac(std::string const& key, Creator creator);
    template <typename T>
    static IBFac add(std::string const& key) {
        return {key, T::create};
    }
    static Map& stone_map();
};
