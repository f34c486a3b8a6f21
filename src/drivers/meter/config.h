#pragma once

#include <string>

#include "config/cport.h"

namespace meter {

/// Configuration of a meter. Its name gets the address appended, and so it stands in the topics.
class c_dev : public CDev {
 public:
    /// Raises an xExceptionf for a missing port or `sid`; `error_head` is the format of its beginning, with one "%s"
    /// for the name. The family's constructor loads the parameters.
    c_dev(CBase* port_node, Json::Value& node, std::string const& error_head);
    static keys::Tables key_tables();

    /// Address of the meter. The wire carries its low byte, the name all of it.
    int sid = 0;
    CBase* port;
};

}  // namespace meter
