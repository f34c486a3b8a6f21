#pragma once

#include <memory>

#include "config/cport.h"

namespace scanner {

/// A parameter as the daemon would load it, for the frames that are built from one and the values that it decodes.
template <typename Param>
class Sample {
 public:
    /// Of a device of the configuration. Raises an xException for one that doesn't load.
    explicit Sample(Json::Value const& device) {
        Json::Value node;
        node["name"] = "scan";
        node["type"] = "base.null";
        node["devices"].append(device)["name"] = "device";
        port_ = std::make_unique<CPort>(node);
    }

    Param const& param() const { return dynamic_cast<Param const&>(*port_->children.at(0)->children.at(0)); }

 private:
    std::unique_ptr<CPort> port_;
};

}  // namespace scanner
