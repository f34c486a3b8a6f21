#pragma once

#include <cstdint>
#include <string>

#include <json/value.h>

#include "config/keys.h"
#include "foundation/byte_list.h"

namespace xdlms {

/// Address of one attribute of a COSEM object (IEC 62056-6-2): interface class, logical name (OBIS code, IEC
/// 62056-6-1), attribute or method.
class cad {
 public:
    /// Raises as parse_object_id().
    cad(uint16_t class_number, std::string const& object_id, uint8_t attribute);
    /// Of `class_id`, `object_id` and `attr_id`, which all must be there. Raises an xException that names the absent
    /// one, and as parse_object_id().
    explicit cad(Json::Value const& node);
    static std::span<keys::Key const> key_table();

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

}  // namespace xdlms
