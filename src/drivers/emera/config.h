#pragma once

#include <string>

#include "config/cparam.h"
#include "config/cport.h"

/// Emera electricity meters: a text protocol in the style of IEC 61107, one request line, values in round brackets.
namespace emera {

/// Configuration of a meter, type word "emera".
class ecdev : public CDev, public FromJson<ecdev> {
 public:
    /// Raises an xExceptionf for a missing port, a missing or empty `sid`, and for a device without parameters.
    ecdev(CBase* port_node, Json::Value& node);

    /// The meter's address, as text in each request and in the topics.
    std::string sid;
};

/// Configuration of one value of a register.
class ecparam : public CParam, public FromJson<ecparam> {
 public:
    /// Raises an xExceptionf for a missing or empty `cmd`.
    ecparam(CBase* device, Json::Value& node);

    void Compare(Json::Value& node) override;

    /// Name of the register, with the placeholders of the date where it has any.
    std::string cmd;
    /// Which bracket of the answer to take, from 0.
    int offset = 0;
};

}  // namespace emera
