#pragma once

#include <string>

#include "config/cparam.h"
#include "config/cport.h"

/// SET-4TM electricity meters. An early stage: the framing, the check of the link and the poll cycle stand, no session
/// is opened and no value is read yet.
namespace set4tm {

/// Configuration of a meter, type word "set-4tm".
class c_dev : public CAddressDev, public FromJson<c_dev> {
 public:
    /// Raises an xExceptionf for a missing port or `sid`, and for a device without parameters.
    c_dev(CBase* port_node, Json::Value& node);

    /// Six characters by form. Kept for pdu::open, which isn't sent yet.
    std::string password = "164937";
};

/// Configuration of one value. Neither key reaches the line yet.
class c_param : public CParam, public FromJson<c_param> {
 public:
    /// Raises an xExceptionf for a missing or negative `command` or `param`.
    c_param(CBase* device, Json::Value& node);

    std::span<keys::Key const> own_keys() const override;

    unsigned int command = 0;
    unsigned int param = 0;
};

}  // namespace set4tm
