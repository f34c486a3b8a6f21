#pragma once

#include <map>
#include <string>

#include "config/cparam.h"
#include "config/cport.h"
#include "drivers/pulsartcp/handlers.h"

/// Pulsar pulse counters and water meters behind a TCP converter: read only, one connection for each sweep.
namespace pulsartcp {

/// Configuration of a parameter, type word "pulsar-tcp".
class c_param : public CParam, public FromJson<c_param> {
 public:
    /// Raises an xExceptionf for a missing `parameter_number`.
    c_param(CBase* device, Json::Value& node);

    /// A second parameter of the same name changes nothing.
    void Compare(Json::Value& node) override;

    unsigned char function = 10;
    /// Number of the parameter, or the mask of channels with function 1.
    unsigned int parameter_number = 0;
};

/// Configuration of a meter, type word "pulsar-tcp". There are no templates for it.
class c_dev : public CDev, public FromJson<c_dev> {
 public:
    /// Raises an xExceptionf for a missing port, `sid`, `delay` or `type_device`, for a number out of range and for a
    /// device without parameters. The name gets `sid` appended, and the messages behind `sid` bear the new one.
    c_dev(CBase* port_node, Json::Value& node);

    /// Kind of the meter, by which its decoders are looked up; any text is taken here.
    std::string type_device;
    unsigned int sid = 0;
    unsigned short delay = 0;  ///< ms, ahead of every request
    /// Requests by their ids whose answers may still come, in a later sweep too. An entry leaves with its answer, so at
    /// worst all 65536 ids are there.
    std::map<unsigned short, c_param*> save_request;
    /// Filled at the first request.
    Handlers handlers;
};

}  // namespace pulsartcp
