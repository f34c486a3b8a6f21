#pragma once

#include "config/cparam.h"
#include "config/cport.h"

/// Media controllers: commands out, nothing back.
namespace mediactrl {

/// Configuration of a controller, type word "media_ctrl".
class c_dev : public CDev, public FromJson<c_dev> {
 public:
    /// Raises an xExceptionf for a missing port or `sid` (whose value isn't used), and for a device without parameters.
    c_dev(CBase* port_node, Json::Value& node);

    CBase* port;
};

/// A parameter is only the name of a topic.
class c_param : public CParam, public FromJson<c_param> {
 public:
    using CParam::CParam;
};

}  // namespace mediactrl
