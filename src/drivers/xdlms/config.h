#pragma once

#include <string>

#include "config/cparam.h"
#include "config/cport.h"
#include "drivers/xdlms/cad.h"

/// DLMS/COSEM meters on serial lines and behind TCP concentrators: a port-level driver, which walks its devices itself.
namespace xdlms {

class cddev;

/// One attribute of a meter.
class dparam : public CParam, public FromJson<dparam> {
 public:
    /// Raises an xExceptionf outside of a DLMS device, and as cad.
    dparam(CBase* device, Json::Value& node);
    static keys::Tables key_tables();

    void Compare(Json::Value& node) override;
    /// Appends the tagged item that writes the text `value`: the value type's number is its tag. Nothing for an empty
    /// value or a parameter without a type, the tag alone for types that can't be written. Raises what std::stoi,
    /// std::stoul and std::stof raise.
    virtual void set_data(xCommon::ByteList& out, std::string const& value);

    cad address;
    cddev* device;
};

/// One meter.
class cddev : public CDev, public FromJson<cddev> {
 public:
    /// Raises an xExceptionf without a port or a parameter.
    cddev(CBase* port_node, Json::Value& node);
    static keys::Tables key_tables();

    /// The first parameter whose "/controls/" and name lie somewhere in the topic, so one whose name begins another's
    /// is found for that one too.
    virtual dparam* find_param(std::string const& topic);

    uint16_t dlms_addr = 0;  ///< wrapper address; the port settles it at its start
    xCommon::ByteList mac;
    std::string sn;
    /// Since the last fault check.
    uint64_t polls = 0;
    uint64_t errors = 0;
    bool fault = false;
};

/// A port of DLMS meters.
class cdport : public CPort, public FromJson<cdport> {
 public:
    using FromJson<cdport>::create;
    /// Raises as CPort, and an xExceptionf without a device.
    explicit cdport(Json::Value& node);
    static keys::Tables key_tables();

    uint16_t dlms_addr = 1;  ///< the gateway's own wrapper address
    xCommon::ByteList mac;
    int poll_delay = 0;  ///< read and used by nothing
};

}  // namespace xdlms
