#pragma once

#include <string>
#include <vector>

#include <json/value.h>

#include "runtime/dev_base.h"

/// Spreading of the value of one parameter over named bits, each with a topic of its own: the control's name is the
/// parameter's and the bit's, joined by "_".
namespace bholding {

/// One named bit of a parameter. Owned by its bhold; used by the worker of the port.
class bitem {
 public:
    /// From an element of `bh_list`: `name`, `offset` (bit number, 0 is the lowest), `inverted` (default: the
    /// parameter's). Raises an xException or xExceptionf for a faulty element.
    bitem(CParam* param, Json::Value const& node, int max_offset);

    /// "0" or "1"; a bit outside of the value reads as 0. With `inverted` the text is turned over.
    std::string get_value(unsigned int value) const;
    /// The whole value with this bit set ("1") or cleared ("0"), as decimal text. `inverted` plays no part: a "1"
    /// written to an inverted bit sets the hardware's bit, and reading it back gives "0".
    std::string set_value(std::string const& current, std::string const& bit) const;
    /// Name of the bit's control.
    std::string control_name() const;

    CParam* param;
    std::string name;
    int offset = -1;
    bool inverted;
};

/// The bits of one parameter, in the order of the file. Owned by the parameter.
class bhold {
 public:
    /// From the array `bh_list` of a parameter's node. Raises an xException or xExceptionf for a faulty one.
    bhold(CParam* param, Json::Value const& node);

    /// Publishes every bit of the result's value, QoS 2, retained. The value must be a number: an empty or other text
    /// raises std::invalid_argument, so a failed poll must not come here.
    void publish(DevBase* dev, BaseResult const& result) const;

    CParam* param;
    std::vector<bitem> items;
};

}  // namespace bholding
