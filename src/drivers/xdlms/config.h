#pragma once

#include <string>

#include "config/cparam.h"
#include "config/cport.h"
#include "foundation/byte_list.h"

/// DLMS/COSEM meters on serial lines and behind TCP concentrators: a port-level driver, which walks its devices itself.
namespace xdlms {

class cddev;

/// Address of one attribute of a COSEM object (IEC 62056-6-2): interface class, logical name (OBIS code, IEC
/// 62056-6-1), attribute or method.
class cad {
 public:
    /// Raises as parse_object_id().
    cad(uint16_t class_number, std::string const& object_id, uint8_t attribute);
    /// Of `class_id`, `object_id` and `attr_id`, which all must be there. Raises an xException that names the absent
    /// one, and as parse_object_id().
    explicit cad(Json::Value const& node);

    /// Appends the six numbers of "1.0.1.8.0.255" to the logical name. Raises an xExceptionf for another count of
    /// pieces, and what std::stoi raises.
    void parse_object_id(std::string const& object_id);
    /// Appends the 9 bytes of a request: class (2), logical name (6), attribute (1).
    void to_list(xCommon::ByteList& out) const;
    /// Lays the keys of a configuration entry over this address. An `object_id` is appended behind the six bytes that
    /// are there, so an entry that changes a template's parameter has to leave it out.
    void compare(Json::Value const& node);

    uint16_t class_id = 0;
    uint8_t attr_id = 0;
    xCommon::ByteList object;
};

/// One attribute of a meter.
class dparam : public CParam, public FromJson<dparam> {
 public:
    /// Raises an xExceptionf outside of a DLMS device, and as cad.
    dparam(CBase* device, Json::Value& node);

    void Compare(Json::Value& node) override;
    /// Appends the tagged item that writes the text `value`: the value type's number is its tag. Nothing for an empty
    /// value or a parameter without a type, the tag alone for types that can't be written. Raises what std::stoi,
    /// std::stoul and std::stof raise.
    virtual void set_data(xCommon::ByteList& out, std::string const& value) const;

    cad address;
    cddev* device;
};

/// One meter.
class cddev : public CDev, public FromJson<cddev> {
 public:
    /// Raises an xExceptionf without a port or a parameter.
    cddev(CBase* port_node, Json::Value& node);

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

    uint16_t dlms_addr = 1;  ///< the gateway's own wrapper address
    xCommon::ByteList mac;
    int poll_delay = 0;  ///< read and used by nothing
};

}  // namespace xdlms
