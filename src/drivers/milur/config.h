#pragma once

#include <string>

#include "config/cparam.h"
#include "config/cport.h"

/// Electricity meters of the Milur family.
namespace milur {

/// Configuration of a meter, type word "milur".
class c_dev : public CAddressDev, public FromJson<c_dev> {
 public:
    /// Raises an xExceptionf for a missing port or `sid`, and for a device without parameters.
    c_dev(CBase* port_node, Json::Value& node);
};

/// Configuration of one object of a meter, and its reading from a reply.
class c_param : public CParam, public FromJson<c_param> {
 public:
    /// Raises an xExceptionf for a missing or negative `object_id`.
    c_param(CBase* device, Json::Value& node);

    std::span<keys::Key const> own_keys() const override;
    /// Text of the value in `n` bytes of data. Raises an xExceptionf for no or too few bytes, and for a value type that
    /// meters don't have.
    std::string getValueFromBuf(unsigned char const* b, int n) const;

    unsigned int object_id = 0;  ///< the wire carries its low byte
};

}  // namespace milur
